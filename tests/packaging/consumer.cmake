# One step of the install-and-use check, run with cmake -P:
#   STEP=install       installs the build tree into <scratch>/prefix
#   STEP=find_package  configures, builds and runs examples/consumer against that prefix
#   STEP=pkg_config    compiles examples/consumer/main.cpp with the flags pkg-config gives

cmake_minimum_required(VERSION 3.25)

set(prefix ${STEP_SCRATCH}/prefix)
set(expected_output
"rotation {0.707107, 0, 0, 0.707107}
pose {{100.5, 0, 250}, {0.707107, 0, 0, 0.707107}}
tip {{100.5, 0, 260}, {1, 0, 0, 0}}
")

function(run)
  execute_process(COMMAND ${ARGN}
    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "failed (${result}): ${command}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

function(check_output actual)
  if(NOT actual STREQUAL expected_output)
    message(FATAL_ERROR "unexpected output:\n${actual}\nexpected:\n${expected_output}")
  endif()
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE ${STEP_SCRATCH})
  run(${CMAKE_COMMAND} --install ${STEP_BUILD_DIR} --prefix ${prefix})
  foreach(file include/zor/rob.hpp include/zor/rob/export.hpp
               ${STEP_LIBDIR}/cmake/zorrob/zorrobConfig.cmake
               ${STEP_LIBDIR}/pkgconfig/zorrob.pc)
    if(NOT EXISTS ${prefix}/${file})
      message(FATAL_ERROR "not installed: ${file}")
    endif()
  endforeach()
  # The internal headers of src/detail stay inside the build.
  file(GLOB_RECURSE internal ${prefix}/include/*messages.hpp ${prefix}/include/*detail/kinematics.hpp)
  if(internal)
    message(FATAL_ERROR "internal headers were installed: ${internal}")
  endif()

elseif(STEP STREQUAL "find_package")
  set(build ${STEP_SCRATCH}/find_package)
  file(REMOVE_RECURSE ${build})
  run(${CMAKE_COMMAND} -S ${STEP_SOURCE_DIR}/examples/consumer -B ${build}
      -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=${STEP_CXX_COMPILER}
      -DCMAKE_PREFIX_PATH=${prefix})
  run(${CMAKE_COMMAND} --build ${build})
  run(${build}/zorrob_consumer)
  check_output("${run_output}")

elseif(STEP STREQUAL "pkg_config")
  if(NOT STEP_PKG_CONFIG)
    message(FATAL_ERROR "pkg-config was not found")
  endif()
  set(build ${STEP_SCRATCH}/pkg_config)
  file(REMOVE_RECURSE ${build})
  file(MAKE_DIRECTORY ${build})
  # --define-prefix takes the prefix from where the .pc file lies, so the scratch install is
  # used rather than the prefix the build was configured with.
  run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/${STEP_LIBDIR}/pkgconfig
      ${STEP_PKG_CONFIG} --define-prefix --cflags --libs zorrob)
  string(STRIP "${run_output}" flags)
  if(NOT flags MATCHES "-I${prefix}/include" OR NOT flags MATCHES "-lzorrob")
    message(FATAL_ERROR "unexpected pkg-config flags: ${flags}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${STEP_CXX_COMPILER} ${STEP_SOURCE_DIR}/examples/consumer/main.cpp ${flags}
      -o ${build}/zorrob_consumer)
  run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/${STEP_LIBDIR} ${build}/zorrob_consumer)
  check_output("${run_output}")

else()
  message(FATAL_ERROR "unknown STEP '${STEP}'")
endif()
