# Configures a host that adds the repository as a sub-directory, and looks at what it would compile:
# the module alone, with warnings that stay warnings. Run with cmake -DSOURCE=... -DWORK=...
# -DCOMPILER=... -P.

file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/embedded -B ${WORK}
  -G Ninja -DVECAMERA_SOURCE=${SOURCE} -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_EXPORT_COMPILE_COMMANDS=ON COMMAND_ERROR_IS_FATAL ANY)
file(READ ${WORK}/compile_commands.json commands)
string(JSON count LENGTH ${commands})
math(EXPR last "${count} - 1")
foreach(i RANGE ${last})
  string(JSON file GET ${commands} ${i} file)
  string(JSON command GET ${commands} ${i} command)
  if(NOT file MATCHES "/(VECamera|examples/host)/")
    message(FATAL_ERROR "A host would have to compile ${file}")
  endif()
  if(command MATCHES "-Werror")
    message(FATAL_ERROR "Warnings would be errors for a host: ${command}")
  endif()
endforeach()
if(last LESS 10)
  message(FATAL_ERROR "The module is missing: only ${count} files")
endif()
