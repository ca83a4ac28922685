# Installs the build, builds the consumer against what was installed, and runs both it and the
# installed program: first as they are, then with a runtime that is missing, empty, and no runtime.
set(prefix "${BUILD_DIR}/consumer/prefix")
set(consumer "${BUILD_DIR}/consumer/build/Consumer")

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Expects exit code 3 and an error text that matches `pattern`.
function(expect_failure pattern)
    execute_process(COMMAND "${consumer}" RESULT_VARIABLE result ERROR_VARIABLE text)
    if(NOT result EQUAL 3 OR NOT text MATCHES "${pattern}")
        message(FATAL_ERROR "expected 3 and '${pattern}', got ${result} and '${text}'")
    endif()
endfunction()

file(REMOVE_RECURSE "${prefix}")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${BUILD_DIR}/consumer/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run(${CMAKE_COMMAND} --build "${BUILD_DIR}/consumer/build")
run("${consumer}")
run("${prefix}/bin/learning" --version)

set(runtime "${prefix}/${LIB_DIR}/libonnxruntime.so.1")
file(REMOVE "${runtime}")
expect_failure("the inference runtime /.*/libonnxruntime.so.1 can't be loaded: .*No such file")
file(WRITE "${runtime}" "")
expect_failure("the inference runtime /.*/libonnxruntime.so.1 can't be loaded: .*too short")
file(COPY_FILE "${prefix}/${LIB_DIR}/libkernel.so" "${runtime}")
expect_failure("/.*/libonnxruntime.so.1 is no inference runtime: no OrtGetApiBase answers")
