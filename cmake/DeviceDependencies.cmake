# What the software device stands on; also read by those who use it installed.

find_package(PkgConfig REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n)
find_package(SQLite3 REQUIRED)
find_package(nlohmann_json REQUIRED)
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)
pkg_check_modules(JPEG REQUIRED IMPORTED_TARGET libjpeg)
pkg_check_modules(SPNG REQUIRED IMPORTED_TARGET spng)
pkg_check_modules(DEFLATE REQUIRED IMPORTED_TARGET libdeflate)
pkg_check_modules(ISAL REQUIRED IMPORTED_TARGET libisal)
pkg_check_modules(HEIF REQUIRED IMPORTED_TARGET libheif)
pkg_check_modules(WEBP REQUIRED IMPORTED_TARGET libwebp)
pkg_check_modules(EXIV2 REQUIRED IMPORTED_TARGET exiv2)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libswscale
  libswresample libavutil)
pkg_check_modules(PIXMAN REQUIRED IMPORTED_TARGET pixman-1)
