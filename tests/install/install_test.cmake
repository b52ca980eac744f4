# Installs the module of a build into a fresh folder, and the component Device as well where that is
# asked for; then builds and runs a consumer against nothing but that, and compares what it prints.
# Run with cmake -DBUILD=... -DWORK=... -DCOMPONENT=Module|Device -DCOMPILER=... -P.

if(COMPONENT STREQUAL Module)
  set(components Module)
  set(consumer consumer)
  set(expected "OBJECT_REFERENCE_FAILED: Camera disabled device\n")
else()
  set(components Module Device)
  set(consumer device_consumer)
  set(expected "1\n")
endif()

file(REMOVE_RECURSE ${WORK})
foreach(component IN LISTS components)
  execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix
    --component ${component} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/${consumer} -B ${WORK}/build
  -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_PREFIX_PATH=${WORK}/prefix COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${WORK}/build/consumer OUTPUT_VARIABLE printed COMMAND_ERROR_IS_FATAL ANY)
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "The consumer printed: ${printed}")
endif()
