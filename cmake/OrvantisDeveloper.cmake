# Targets for people working on the project: format, check-format, tidy, and the install test.
file(GLOB_RECURSE orvantis_code CONFIGURE_DEPENDS
    "${CMAKE_SOURCE_DIR}/Libraries/*.h" "${CMAKE_SOURCE_DIR}/Libraries/*.cpp"
    "${CMAKE_SOURCE_DIR}/Applications/*.h" "${CMAKE_SOURCE_DIR}/Applications/*.cpp"
    "${CMAKE_SOURCE_DIR}/examples/*.cpp" "${CMAKE_SOURCE_DIR}/tests/*.cpp" "${CMAKE_SOURCE_DIR}/tools/*.cpp")
find_program(CLANG_FORMAT clang-format-14)
find_program(RUN_CLANG_TIDY run-clang-tidy-14)
if(CLANG_FORMAT)
    add_custom_target(format COMMAND ${CLANG_FORMAT} -i ${orvantis_code})
    add_custom_target(check-format COMMAND ${CLANG_FORMAT} --dry-run --Werror ${orvantis_code})
endif()
if(RUN_CLANG_TIDY)
    # What ships only: tests and benchmarks are read by people, and gtest macros upset the analyser.
    add_custom_target(tidy VERBATIM COMMAND ${RUN_CLANG_TIDY} -quiet -p "${CMAKE_BINARY_DIR}"
        "(Libraries/lib[a-z]+|Applications/[a-z-]+)/(?!tests/|benchmarks/).*cpp$")
endif()

# Installs the build into a scratch prefix and builds tests/consumer against it with find_package.
set(consumer_flags "")
if(ORVANTIS_SANITIZE)
    set(consumer_flags "-fsanitize=${ORVANTIS_SANITIZE}")
endif()
add_test(NAME Install.ConsumerFindsPackage COMMAND ${CMAKE_COMMAND}
    -D BUILD_DIR=${CMAKE_BINARY_DIR} -D SOURCE_DIR=${CMAKE_SOURCE_DIR}/tests/consumer
    "-DCXX_FLAGS=${consumer_flags}"
    -D GENERATOR=${CMAKE_GENERATOR} -P ${CMAKE_SOURCE_DIR}/tests/consumer/RunConsumer.cmake)
