# Targets for people working on the project: format, check-format, tidy, and the install test.
file(GLOB_RECURSE orvantis_code CONFIGURE_DEPENDS
    "${PROJECT_SOURCE_DIR}/Libraries/*.h" "${PROJECT_SOURCE_DIR}/Libraries/*.cpp"
    "${PROJECT_SOURCE_DIR}/Applications/*.h" "${PROJECT_SOURCE_DIR}/Applications/*.cpp"
    "${PROJECT_SOURCE_DIR}/examples/*.cpp" "${PROJECT_SOURCE_DIR}/tests/*.cpp")
find_program(CLANG_FORMAT clang-format-14)
find_program(RUN_CLANG_TIDY run-clang-tidy-14)
if(CLANG_FORMAT)
    add_custom_target(format VERBATIM COMMENT "Formatting all code"
        COMMAND ${CLANG_FORMAT} -i ${orvantis_code})
    add_custom_target(check-format VERBATIM COMMENT "Checking the layout of all code"
        COMMAND ${CLANG_FORMAT} --dry-run --Werror ${orvantis_code})
endif()
if(RUN_CLANG_TIDY)
    # What ships only: tests and benchmarks are read by people, and gtest macros upset the analyser.
    add_custom_target(tidy VERBATIM COMMAND ${RUN_CLANG_TIDY} -quiet -p "${CMAKE_BINARY_DIR}"
        "(Libraries/lib[a-z]+|Applications/[a-z-]+)/(?!tests/|benchmarks/).*(cpp|Objects.dir/Unity/.*cxx)$")
endif()

# What is installed, without tests.
get_property(shipped_libraries GLOBAL PROPERTY ORVANTIS_LIBRARIES)
get_property(shipped_programs GLOBAL PROPERTY ORVANTIS_PROGRAMS)
add_custom_target(shipped DEPENDS ${shipped_libraries} ${shipped_programs})

# Installs the build into a scratch prefix and builds tests/consumer against it, by CMake and by pkg-config.
set(consumer_flags "")
if(ORVANTIS_SANITIZE)
    set(consumer_flags "-fsanitize=${ORVANTIS_SANITIZE}")
endif()
list(JOIN shipped_libraries "," components)
set(archives ON)
if(BUILD_SHARED_LIBS)
    set(archives OFF)
endif()
if(WIN32)
    add_test(NAME Install.ConsumerFindsPackage COMMAND ${CMAKE_COMMAND}
        -D BUILD_DIR=${CMAKE_BINARY_DIR} -D SOURCE_DIR=${PROJECT_SOURCE_DIR} -D COMPONENTS=${components}
        -D ARCHIVES=${archives} -D TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE} -D EMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}
        -D STAND_INS=${CMAKE_BINARY_DIR}/stand-ins -P ${PROJECT_SOURCE_DIR}/tests/consumer/RunWindowsConsumer.cmake)
    return()
endif()
add_test(NAME Install.ConsumerFindsPackage COMMAND ${CMAKE_COMMAND}
    -D BUILD_DIR=${CMAKE_BINARY_DIR} -D SOURCE_DIR=${PROJECT_SOURCE_DIR} -D RUNTIME_DIR=${ORVANTIS_RUNTIME_DIR}
    -D GENERATOR=${CMAKE_GENERATOR} -D COMPILER=${CMAKE_CXX_COMPILER} -D CXX_FLAGS=${consumer_flags}
    -D LIB_DIR=${CMAKE_INSTALL_LIBDIR} -D DOC_DIR=${CMAKE_INSTALL_DOCDIR} -D COMPONENTS=${components}
    -D ARCHIVES=${archives} -D VERSION=${PROJECT_VERSION} -P ${PROJECT_SOURCE_DIR}/tests/consumer/RunConsumer.cmake)
