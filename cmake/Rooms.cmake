# Settings that every target of the project shares, and the functions that make one target of a folder.

add_library(vecamera_settings INTERFACE)
target_compile_features(vecamera_settings INTERFACE cxx_std_20)
target_compile_options(vecamera_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  # g++ 12 warns of overlaps that its own inlining of std::string makes up.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  # g++ makes the tail calls that keep chains of tasks off the stack only from -O2 on by itself.
  $<$<CXX_COMPILER_ID:GNU>:-foptimize-sibling-calls>
  $<$<BOOL:${VECAMERA_WERROR}>:-Werror>)
if(VECAMERA_FUZZ)
  target_compile_options(vecamera_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VECAMERA_SANITIZE)
  target_compile_options(vecamera_settings INTERFACE
    -fsanitize=${VECAMERA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # g++ sees uninitialized values in what the sanitizers insert.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(vecamera_settings INTERFACE -fsanitize=${VECAMERA_SANITIZE})
endif()

# vecamera_room(NAME [ROOMS ...] [LIBRARIES ...] PUBLIC ...): a static library of the sources below the
# current folder's sub-folder NAME (without sources, of its headers alone), on top of ROOMS of the
# device and of third-party LIBRARIES, and installed as VECamera::device_NAME. PUBLIC are the headers
# that hosts get, one a line; all others are private, and so are the headers of the LIBRARIES.
function(vecamera_room name)
  cmake_parse_arguments(arg "" "" "ROOMS;LIBRARIES;PUBLIC" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${name}/*.cpp)
  list(TRANSFORM arg_ROOMS PREPEND device_)
  if(sources)
    set(visibility PUBLIC)
    add_library(device_${name} STATIC ${sources})
    target_link_libraries(device_${name}
      PRIVATE ${arg_LIBRARIES} $<BUILD_INTERFACE:vecamera_settings>)
    set_target_properties(device_${name} PROPERTIES OUTPUT_NAME VECameraDevice_${name})
  else()
    set(visibility INTERFACE)
    add_library(device_${name} INTERFACE)
  endif()
  add_library(VECamera::device_${name} ALIAS device_${name})
  target_sources(device_${name} ${visibility} FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}
    FILES ${arg_PUBLIC})
  target_link_libraries(device_${name} ${visibility} VECamera::VECamera ${arg_ROOMS})
  install(TARGETS device_${name} EXPORT VECameraDeviceTargets COMPONENT Device
    FILE_SET HEADERS DESTINATION ${VECAMERA_INSTALL_DEVICE_INCLUDEDIR} COMPONENT Device)
endfunction()

# vecamera_tests(FOLDER [LIBRARIES ...]): one test program of the sources in tests/FOLDER.
function(vecamera_tests folder)
  cmake_parse_arguments(arg "" "" "LIBRARIES" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  if(NOT sources)
    return()
  endif()
  string(REPLACE "/" "_" name ${folder})
  add_executable(${name}_tests ${sources})
  target_include_directories(${name}_tests PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name}_tests PRIVATE ${arg_LIBRARIES} VECamera::VECamera
    vecamera_settings GTest::gmock_main)
  target_precompile_headers(${name}_tests PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  target_compile_definitions(${name}_tests PRIVATE
    VECAMERA_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  add_test(NAME ${name} COMMAND ${name}_tests)
endfunction()
