# Installs the module of a build into a fresh folder, with the contract tests or, where that is asked
# for, with the component Device; then builds a consumer against nothing but that, runs it and its tests, and compares what
# it prints. Run with cmake -DBUILD=... -DWORK=... -DCOMPONENT=Module|Device -DCOMPILER=... -P.

if(COMPONENT STREQUAL Module)
  set(components Module Contracts)
  set(consumer ../../examples/host)
  set(programs host_tests host)
  string(CONCAT expected
    "cameraDirection 0\n"
    "data:image/png;base64,"
    "iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAIAAAD91JpzAAAAGUlEQVR4AQEOAPH/AP8AAAD/"
    "AAAAAP////8f7gX73t3sKwAAAABJRU5ErkJggg==\n"
    "cameraDirection 0\n"
    "82 bytes in a file\n"
    "success, no file is left\n")
else()
  set(components Module Device)
  set(consumer device_consumer)
  set(programs consumer)
  set(expected "1\n")
endif()

file(REMOVE_RECURSE ${WORK})
foreach(component IN LISTS components)
  execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix
    --component ${component} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
# Installed headers count as system headers by default, and then nothing warns about them.
execute_process(COMMAND ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/${consumer} -B ${WORK}/build
  -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_NO_SYSTEM_FROM_IMPORTED=ON -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
  -DCMAKE_PREFIX_PATH=${WORK}/prefix COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build COMMAND_ERROR_IS_FATAL ANY)
foreach(program IN LISTS programs)
  execute_process(COMMAND ${WORK}/build/${program} OUTPUT_VARIABLE printed
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "The consumer printed: ${printed}")
endif()
