# VECamera for an iOS app: docs/ios.md.
Pod::Spec.new do |s|
  s.name = 'VECamera'
  s.version = '0.1.0'
  s.summary = 'The camera plug-in of a VelmoraMobile app.'
  s.license = { :type => 'Apache-2.0', :file => 'LICENSE' }
  s.authors = 'The VECamera maintainers'
  # Placeholders: an app names the pod by its path, which reads neither.
  s.homepage = 'https://vecamera.example'
  s.source = { :git => 'https://vecamera.example/VECamera.git', :tag => s.version.to_s }

  s.ios.deployment_target = '15.0'
  s.requires_arc = true
  s.source_files = 'VECamera/**/*.{h,cpp}', 'ios/Sources/**/*.{h,mm}'
  s.public_header_files = 'ios/Sources/include/*.h'
  # Several have the name of a framework or of a public header: they must not be copied anywhere.
  s.project_header_files = 'VECamera/**/*.h', 'ios/Sources/*.h'
  s.resource_bundles = { 'VECamera' => ['ios/PrivacyInfo.xcprivacy'] }
  s.frameworks = 'AVFoundation', 'CoreFoundation', 'CoreGraphics', 'CoreImage', 'CoreLocation',
                 'Foundation', 'ImageIO', 'Photos', 'UIKit'
  s.libraries = 'c++'
  # Headers are included from the repository's root, never by their bare name: no header map. A public
  # one is included in quotation marks by another, because a Swift package has no <VECamera/...> path.
  s.pod_target_xcconfig = {
    'CLANG_CXX_LANGUAGE_STANDARD' => 'c++20',
    'CLANG_CXX_LIBRARY' => 'libc++',
    'CLANG_WARN_QUOTED_INCLUDE_IN_FRAMEWORK_HEADER' => 'NO',
    'HEADER_SEARCH_PATHS' => '"$(PODS_TARGET_SRCROOT)"',
    'USE_HEADERMAP' => 'NO'
  }
end
