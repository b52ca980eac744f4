// swift-tools-version:5.9
// VECamera for an iOS app: docs/ios.md. The version is the tag's.
import PackageDescription

let package = Package(
    name: "VECamera",
    platforms: [.iOS(.v15)],
    products: [
        .library(name: "VECamera", targets: ["VECamera"])
    ],
    targets: [
        // The module, portable C++. Its headers are included from the repository's root; the folder
        // include, which a target has to have, shows none.
        .target(
            name: "VECameraModule",
            path: "VECamera",
            exclude: ["CMakeLists.txt"],
            cxxSettings: [.headerSearchPath("..")]
        ),
        // Its host on the phone, Objective-C++ under ARC. An app sees the headers in include alone.
        .target(
            name: "VECamera",
            dependencies: ["VECameraModule"],
            path: "ios",
            exclude: ["Info-additions.plist"],
            sources: ["Sources"],
            resources: [.process("PrivacyInfo.xcprivacy")],
            publicHeadersPath: "Sources/include",
            cxxSettings: [.headerSearchPath("..")],
            linkerSettings: [
                .linkedFramework("AVFoundation"),
                .linkedFramework("CoreFoundation"),
                .linkedFramework("CoreGraphics"),
                .linkedFramework("CoreImage"),
                .linkedFramework("CoreLocation"),
                .linkedFramework("Foundation"),
                .linkedFramework("ImageIO"),
                .linkedFramework("Photos"),
                .linkedFramework("UIKit"),
            ]
        ),
    ],
    cxxLanguageStandard: .cxx20
)
