# Installs the build into a private prefix, builds the consumer project against
# it and runs the consumer (under the emulator when cross-compiling).
set(prefix ${BUILD_DIR}/consumer/prefix)
set(bin ${BUILD_DIR}/consumer/build)
file(REMOVE_RECURSE ${BUILD_DIR}/consumer)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
set(args -G Ninja -S ${SOURCE_DIR} -B ${bin} -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_BUILD_TYPE=RelWithDebInfo)
if(TOOLCHAIN)
  list(APPEND args -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
if(SANITIZE)
  list(JOIN SANITIZE "," san)
  list(APPEND args "-DCMAKE_CXX_FLAGS=-fsanitize=${san}"
       "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${san}")
endif()
run(${CMAKE_COMMAND} ${args})
run(${CMAKE_COMMAND} --build ${bin})
if(EMULATOR)
  run(${EMULATOR} ${bin}/consumer.exe)
else()
  run(${bin}/consumer)
endif()
