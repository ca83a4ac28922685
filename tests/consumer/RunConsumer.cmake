# Installs the build, builds the consumer against what was installed, and runs both it and the
# installed program: first as they are, then with a runtime that is missing or empty. Then links by
# pkg-config, and installs what was never built.
string(REPLACE "," ";" components "${COMPONENTS}")
set(folder "${BUILD_DIR}/consumer")
set(prefix "${folder}/prefix")
set(consumer "${folder}/build/Consumer")
set(configure ${CMAKE_COMMAND} -G "${GENERATOR}" "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Expects a command to end with a code and an error text that matches `pattern`.
function(expect_failure code pattern)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result ERROR_VARIABLE text OUTPUT_QUIET)
    if(NOT result EQUAL code OR NOT text MATCHES "${pattern}")
        message(FATAL_ERROR "expected ${code} and '${pattern}', got ${result} and '${text}'")
    endif()
endfunction()

file(REMOVE_RECURSE "${prefix}" "${folder}/build" "${folder}/nowhere")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
foreach(licence IN ITEMS onnxruntime/LICENSE onnxruntime/ThirdPartyNotices.txt highway/copyright cli11/copyright
    nlohmann-json/copyright LICENCES.md)
    file(SIZE "${prefix}/${DOC_DIR}/licences/${licence}" size)
    if(size EQUAL 0)
        message(FATAL_ERROR "${licence} is empty")
    endif()
endforeach()

run(${configure} -S "${SOURCE_DIR}/tests/consumer" -B "${folder}/build" "-DCMAKE_PREFIX_PATH=${prefix}"
    "-DCOMPONENTS=${COMPONENTS}" "-DARCHIVES=${ARCHIVES}")
run(${CMAKE_COMMAND} --build "${folder}/build")
foreach(component IN LISTS components)
    run("${folder}/build/${component}/Use${component}")
endforeach()
run("${consumer}")
run("${SOURCE_DIR}/tests/consumer/run-with-service.sh" "${prefix}/bin/learning-service" "${consumer}" "${folder}/service")
run("${prefix}/bin/learning" --models "${BUILD_DIR}/examples/models" colourise "${SOURCE_DIR}/external/photos/camera.png"
    -o "${folder}/coloured.png")

set(runtime "${prefix}/${LIB_DIR}/libonnxruntime.so.1")
if(ARCHIVES)
    set(runtime "${folder}/build/libonnxruntime.so.1")  # beside the program that holds liblearning's code
endif()
file(REMOVE "${runtime}")
expect_failure(3 "the inference runtime ${runtime} can't be loaded: .*No such file" "${consumer}")
file(WRITE "${runtime}" "")
expect_failure(3 "the inference runtime ${runtime} can't be loaded: .*too short" "${consumer}")

set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIB_DIR}/pkgconfig")
set(query pkg-config --cflags --libs orvantis-learning)
execute_process(COMMAND ${query} OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${query} --static OUTPUT_VARIABLE static_flags COMMAND_ERROR_IS_FATAL ANY)
if(NOT flags STREQUAL static_flags)
    message(FATAL_ERROR "pkg-config says '${flags}', and with --static '${static_flags}'")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run("${COMPILER}" -std=c++20 ${CXX_FLAGS} "${folder}/build/Learning/alone.cpp" -o "${folder}/linked" ${flags}
    "-Wl,-rpath,${prefix}/${LIB_DIR}")
run("${folder}/linked")
foreach(component IN LISTS components)
    string(TOLOWER "${component}" name)
    run(pkg-config --print-errors "orvantis-${name} = ${VERSION}")
endforeach()

run(${configure} -S "${SOURCE_DIR}" -B "${folder}/unbuilt" -DORVANTIS_DEVELOPER=OFF "-DORVANTIS_RUNTIME_DIR=${RUNTIME_DIR}")
expect_failure(1 "Nothing is installed.*libkernel.*learning-service.*--target installable"
    ${CMAKE_COMMAND} --install "${folder}/unbuilt" --prefix "${folder}/nowhere")
if(EXISTS "${folder}/nowhere")
    message(FATAL_ERROR "a build without libraries is installed in part")
endif()
