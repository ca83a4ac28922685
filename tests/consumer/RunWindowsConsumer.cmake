# Installs the Windows build, builds the consumer against what was installed, and runs it under an emulator, with
# nothing beside it but what the package puts there and a folder of stand-ins for what Windows has.
string(REPLACE "," ";" components "${COMPONENTS}")
set(folder "${BUILD_DIR}/consumer")
set(prefix "${folder}/prefix")
set(ENV{WINEPATH} "${STAND_INS}")

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${prefix}" "${folder}/build")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
run(${CMAKE_COMMAND} -G Ninja -S "${SOURCE_DIR}/tests/consumer" -B "${folder}/build"
    "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}" "-DOrvantis_DIR=${prefix}/lib/cmake/Orvantis"
    "-DCOMPONENTS=${COMPONENTS}" "-DARCHIVES=${ARCHIVES}")
run(${CMAKE_COMMAND} --build "${folder}/build")
foreach(component IN LISTS components)
    run("${EMULATOR}" "${folder}/build/${component}/Use${component}.exe")
endforeach()
run("${EMULATOR}" "${folder}/build/Consumer.exe")
