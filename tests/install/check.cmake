# Installs the build into a folder of its own, then builds and runs the client there: once with the
# CMake package, once with pkg-config.
file(REMOVE_RECURSE ${WORK})
file(COPY ${CLIENT}/client.c ${CLIENT}/CMakeLists.txt DESTINATION ${WORK}/client)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGV}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} -G Ninja -S ${WORK}/client -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix
  -DCMAKE_C_FLAGS=${C_FLAGS} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
run(${CMAKE_COMMAND} --build ${WORK}/build)
if(TOOLCHAIN)
  # Windows finds a program's DLLs beside it.
  file(COPY ${WORK}/prefix/bin/mpg.dll DESTINATION ${WORK}/build)
  run(${EMULATOR} ${WORK}/build/client.exe)
  return()
endif()
run(${WORK}/build/client)

file(GLOB_RECURSE package ${WORK}/prefix/*/mpg.pc)
cmake_path(GET package PARENT_PATH packages)
run(sh -c "cd ${WORK} && export PKG_CONFIG_PATH=${packages} &&
  cc ${C_FLAGS} -std=c99 client/client.c -o client-pc $(pkg-config --cflags --libs mpg) \
    -Wl,-rpath,$(pkg-config --variable=libdir mpg) && ./client-pc")
