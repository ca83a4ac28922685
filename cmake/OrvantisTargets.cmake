# The kinds of target that this project has. Each library's CMakeLists.txt calls these and nothing
# more exotic.
include_guard()

# orvantis_room(<folder> [HEADERS <public headers>] [SOURCES <files>] [SIMD <files>] [LINUX <files>]
#               [POSIX <files>] [WINDOWS <files>])
# A folder of the library or program that follows: what its public headers are, which otherwise share
# one include folder, and which files belong to all platforms or to some: these lie in a folder of the
# room, such as posix/FileHandlePosix.cpp, and only they include headers of the system. Files after SIMD
# include themselves for each instruction set, by Highway's foreach_target.h. Rooms come lowest first:
# each includes only itself and those before it, which tools/check_rooms.py checks.
function(orvantis_room folder)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;SOURCES;SIMD;LINUX;POSIX;WINDOWS")
    if(WIN32)
        list(APPEND arg_SOURCES ${arg_WINDOWS})
        list(TRANSFORM arg_WINDOWS PREPEND "${folder}/")
        set_source_files_properties(${arg_WINDOWS} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)  # the system's names
    else()
        list(APPEND arg_SOURCES ${arg_POSIX})
    endif()
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
        list(APPEND arg_SOURCES ${arg_LINUX})
    endif()
    list(TRANSFORM arg_SOURCES PREPEND "${folder}/")
    list(TRANSFORM arg_SIMD PREPEND "${folder}/")
    # Not optimised, vectors lie in memory and each operation is a call: tests take three times as long.
    set_source_files_properties(${arg_SIMD} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON
        COMPILE_OPTIONS "$<$<AND:$<CONFIG:Debug>,$<NOT:$<CXX_COMPILER_ID:MSVC>>>:-O1>")
    list(APPEND arg_SOURCES ${arg_SIMD})
    set(orvantis_room_sources ${orvantis_room_sources} ${arg_SOURCES} PARENT_SCOPE)
    set(orvantis_room_headers ${orvantis_room_headers} ${arg_HEADERS} PARENT_SCOPE)
endfunction()

# orvantis_objects(<Name> SOURCES <files> INCLUDE <folders> LINK <targets>)
# Compiles the sources and those of the rooms once, for the library or program and for its tests alike: so
# tests reach what is not exported, and nothing is exported for their sake. In a unity build several
# sources are compiled together.
function(orvantis_objects name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;INCLUDE;LINK")
    add_library(${name}Objects OBJECT ${orvantis_room_sources} ${arg_SOURCES})
    target_include_directories(${name}Objects PUBLIC ${arg_INCLUDE})
    target_compile_features(${name}Objects PUBLIC cxx_std_20)
    target_link_libraries(${name}Objects PUBLIC ${arg_LINK})
    set_target_properties(${name}Objects PROPERTIES
        POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
        UNITY_BUILD_CODE_BEFORE_INCLUDE "// NOLINTNEXTLINE(bugprone-suspicious-include)")
    orvantis_common_options(${name}Objects)
endfunction()

# orvantis_library(<Name> [STATIC] [LINK_PUBLIC <targets>] [LINK_PRIVATE <targets>] [COMPILE_WITH <targets>])
# Builds the library lib<name>, alias Orvantis::<Name>, from the rooms before it: shared, or an archive if
# BUILD_SHARED_LIBS is off. Its public headers live in include/<Name>/. COMPILE_WITH are headers and
# definitions that nobody who links the library needs. With STATIC, an archive for the programs and
# tests of this project, which is not installed.
function(orvantis_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "STATIC" "" "LINK_PUBLIC;LINK_PRIVATE;COMPILE_WITH")
    string(TOLOWER "${name}" lower)
    list(TRANSFORM orvantis_room_headers PREPEND "include/${name}/")

    orvantis_objects(${name}
        INCLUDE "${CMAKE_CURRENT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}/include"
        LINK ${arg_LINK_PUBLIC} ${arg_LINK_PRIVATE} ${arg_COMPILE_WITH})
    target_compile_definitions(${name}Objects PUBLIC ${name}_EXPORTS)
    if(WIN32 AND NOT BUILD_SHARED_LIBS)
        target_compile_definitions(${name}Objects PUBLIC ORVANTIS_ARCHIVES)
    endif()
    if(ORVANTIS_SANITIZE)
        # Tests that look at every pixel take a tenth of the time. Their own code is not worth it.
        target_compile_options(${name}Objects PRIVATE -O1)
    endif()

    set(kind STATIC)
    if(NOT arg_STATIC)
        if(BUILD_SHARED_LIBS)
            set(kind SHARED)
        endif()
        set_property(GLOBAL APPEND PROPERTY ORVANTIS_LIBRARIES ${name})
    endif()
    add_library(${name} ${kind} $<TARGET_OBJECTS:${name}Objects>)
    add_library(Orvantis::${name} ALIAS ${name})
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS include FILES ${orvantis_room_headers})
    target_compile_features(${name} PUBLIC cxx_std_20)
    target_link_libraries(${name} PUBLIC ${arg_LINK_PUBLIC} PRIVATE ${arg_LINK_PRIVATE})
    if(WIN32 AND NOT BUILD_SHARED_LIBS)
        target_compile_definitions(${name} PUBLIC ORVANTIS_ARCHIVES)
    endif()
    set_target_properties(${name} PROPERTIES PREFIX lib OUTPUT_NAME ${lower} LINKER_LANGUAGE CXX INSTALL_RPATH "$ORIGIN"
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    orvantis_common_options(${name})
endfunction()

# orvantis_text(<variable> <namespace> <Name> <file>)
# Generates a source that defines the std::string_view <namespace>::<Name> as the text of a file, and puts
# its path into the variable.
function(orvantis_text variable namespace name file)
    file(READ "${file}" text)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [[
#include <string_view>

namespace @namespace@ {

extern const std::string_view @name@;
const std::string_view @name@ = R"text(@text@)text";

}  // namespace @namespace@
]])
    set(${variable} "${source}" PARENT_SCOPE)
endfunction()

# orvantis_application(<Name> OUTPUT <program> MAIN <file> SOURCES <files> [LINK <targets>])
# Builds a program that is installed, from its rooms and SOURCES. All but MAIN can be linked by its tests.
# Compiled several sources together in every preset, as are tests: most of what a source of theirs takes to
# compile, it has in common with others.
function(orvantis_application name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT;MAIN" "SOURCES;LINK")
    set(CMAKE_UNITY_BUILD ON)
    orvantis_objects(${name} SOURCES ${arg_SOURCES} INCLUDE "${CMAKE_CURRENT_SOURCE_DIR}" LINK ${arg_LINK})
    add_executable(${arg_OUTPUT} ${arg_MAIN})
    target_link_libraries(${arg_OUTPUT} PRIVATE ${name}Objects)
    set_target_properties(${arg_OUTPUT} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    orvantis_common_options(${arg_OUTPUT})
    set_property(GLOBAL APPEND PROPERTY ORVANTIS_PROGRAMS ${arg_OUTPUT})
endfunction()

# orvantis_tests(<Name> [USES_CACHE] SOURCES <files> [POSIX <files>] [WINDOWS <files>] [LINK <targets>])
# One test program per library, one ctest entry per test case, or two for all with sanitizers and under an
# emulator; skipped unless ORVANTIS_DEVELOPER. With USES_CACHE, what is cached for the user is used: on Windows,
# where a process cannot be given a folder of its own for that, such tests run one after another.
function(orvantis_tests name)
    if(NOT ORVANTIS_DEVELOPER)
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 arg "USES_CACHE" "" "SOURCES;POSIX;WINDOWS;LINK")
    set(lock "")
    if(WIN32 AND arg_USES_CACHE)
        set(lock RESOURCE_LOCK UserCache)
    endif()
    if(WIN32)
        list(APPEND arg_SOURCES ${arg_WINDOWS})
    else()
        list(APPEND arg_SOURCES ${arg_POSIX})
    endif()
    if(NOT arg_SOURCES)
        return()
    endif()
    orvantis_test_program(${name}Tests SOURCES ${arg_SOURCES} LINK ${name}Objects ${arg_LINK})
    if(ORVANTIS_SANITIZE OR CMAKE_CROSSCOMPILING)
        # A process for each test case would take longer to start than to run. Two shards keep two
        # processors busy. What takes five minutes may take twenty on a machine that does other things, too.
        foreach(shard IN ITEMS 0 1)
            add_test(NAME ${name}Tests.${shard} COMMAND ${name}Tests --gtest_brief=1)
            set_tests_properties(${name}Tests.${shard} PROPERTIES TIMEOUT 1500 ${lock}
                ENVIRONMENT "GTEST_TOTAL_SHARDS=2;GTEST_SHARD_INDEX=${shard}")
        endforeach()
    else()
        gtest_discover_tests(${name}Tests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ${lock})
    endif()
endfunction()

# orvantis_test_program(<name> SOURCES <files> LINK <targets>)
# A test program that ctest does not know yet: for tests that need a setting of their own.
function(orvantis_test_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    set(CMAKE_UNITY_BUILD ON)
    set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)  # few enough for their names not to meet
    add_executable(${name} ${arg_SOURCES})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")  # for support/
    target_link_libraries(${name} PRIVATE ${arg_LINK} TestSupport GTest::gmock GTest::gtest_main ZLIB::ZLIB)
    orvantis_common_options(${name})
endfunction()

# orvantis_benchmarks(<Name> SOURCES <files> [LINK <targets>])
function(orvantis_benchmarks name)
    if(NOT ORVANTIS_BENCHMARKS)
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_executable(${name}Benchmarks ${arg_SOURCES})
    target_link_libraries(${name}Benchmarks PRIVATE Orvantis::${name} ${arg_LINK} benchmark::benchmark_main)
    orvantis_common_options(${name}Benchmarks)
    if(NOT MSVC)
        # Where a tight loop happens to lie costs it up to half of its speed, the peer's or ours.
        target_compile_options(${name}Benchmarks PRIVATE -falign-loops=64)
    endif()
endfunction()

# orvantis_fuzzer(<name> SOURCES <files> [LINK <targets>])
# A program of libFuzzer's in the preset fuzz. Elsewhere it is only compiled, so that it keeps up.
function(orvantis_fuzzer name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    if(ORVANTIS_FUZZERS)
        add_executable(${name} ${arg_SOURCES})
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    else()
        add_library(${name} OBJECT ${arg_SOURCES})
    endif()
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    orvantis_common_options(${name})
endfunction()

# orvantis_translation(<language> <file>)
# Compiles the translations in a .po file of GNU gettext to a catalogue, which is installed. Its path is in
# the property CATALOGUE of the target Translation_<language>.
function(orvantis_translation language file)
    set(folder "${CMAKE_INSTALL_DATADIR}/orvantis/locale/${language}/LC_MESSAGES")
    set(catalogue "${CMAKE_BINARY_DIR}/${folder}/orvantis.mo")
    file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/${folder}")
    add_custom_command(OUTPUT "${catalogue}" DEPENDS "${file}" VERBATIM
        COMMAND "${MSGFMT}" --check-format "--output-file=${catalogue}" "${CMAKE_CURRENT_SOURCE_DIR}/${file}")
    add_custom_target(Translation_${language} ALL DEPENDS "${catalogue}")
    set_target_properties(Translation_${language} PROPERTIES CATALOGUE "${catalogue}" INSTALL_FOLDER "${folder}")
    set_property(GLOBAL APPEND PROPERTY ORVANTIS_TRANSLATIONS Translation_${language})
endfunction()

# Warnings and sanitizers. PRIVATE, so that they never reach a program that links to us.
function(orvantis_common_options target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /utf-8 /permissive-)
    else()
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wsuggest-override)
        # Pixels have the same bytes on every instruction set: no fused multiply-add behind the
        # source's back. Without traps GCC 12 vectorises clamped loops; results stay the same.
        target_compile_options(${target} PRIVATE -ffp-contract=off -fno-trapping-math)
    endif()
    if(WIN32)
        # Windows 10 and its functions for UTF-16, without the macros that take names from everybody.
        target_compile_definitions(${target} PRIVATE
            _WIN32_WINNT=0x0A00 WINVER=0x0A00 NTDDI_VERSION=0x0A000005 UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
    endif()
    if(ORVANTIS_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${ORVANTIS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${ORVANTIS_SANITIZE})
    endif()
    if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # What a source keeps to itself then lies in a file that another one includes.
        target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
    endif()
endfunction()

# orvantis_runtime_in(<folder>)
# Puts the inference runtime into a folder of the build: liblearning loads it from its own folder, or
# from that of a program which holds its code.
function(orvantis_runtime_in folder)
    file(MAKE_DIRECTORY "${folder}")
    cmake_path(GET ORVANTIS_RUNTIME_LIBRARY FILENAME name)
    if(CMAKE_HOST_WIN32)  # where links take a right that few have
        file(COPY_FILE "${ORVANTIS_RUNTIME_LIBRARY}" "${folder}/${name}" ONLY_IF_DIFFERENT)
    else()
        file(CREATE_LINK "${ORVANTIS_RUNTIME_LIBRARY}" "${folder}/${name}" SYMBOLIC)
    endif()
endfunction()

# orvantis_own_folder(<program> <folder>)
# Builds a program of tests into a folder of its own. On Windows all DLLs that it needs are put beside it.
function(orvantis_own_folder program folder)
    set_target_properties(${program} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${folder}")
    if(NOT WIN32)
        return()
    endif()
    add_dependencies(${program} FakeCatalogue WindowsAppStub)
    add_custom_command(TARGET ${program} POST_BUILD VERBATIM COMMAND_EXPAND_LISTS
        COMMAND "${CMAKE_COMMAND}" -E copy_if_different
                $<TARGET_RUNTIME_DLLS:${program}> ${ORVANTIS_SHIPPED_LIBRARIES} $<TARGET_FILE:WindowsAppStub> $<TARGET_FILE:FakeCatalogue> "${folder}")
endfunction()

# orvantis_test_models(<Name> <script> <model>...)
# Lets the tests and benchmarks of <Name> find the models that a Python script makes, <model>.onnx
# each: their folder is the macro TEST_MODELS. More programs can link <Name>TestModels.
function(orvantis_test_models name script)
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/models")
    file(MAKE_DIRECTORY "${folder}")
    list(TRANSFORM ARGN PREPEND "${folder}/" OUTPUT_VARIABLE files)
    list(TRANSFORM files APPEND ".onnx")
    set(support "${PROJECT_SOURCE_DIR}/tests/support")
    add_custom_command(OUTPUT ${files} DEPENDS "${script}" "${support}/onnx_models.py" VERBATIM
        COMMAND "${CMAKE_COMMAND}" -E env "PYTHONPATH=${support}" PYTHONDONTWRITEBYTECODE=1
                "${ORVANTIS_PYTHON}" "${CMAKE_CURRENT_SOURCE_DIR}/${script}" "${folder}")
    add_custom_target(${name}TestModelFiles DEPENDS ${files})
    add_library(${name}TestModels INTERFACE)
    add_dependencies(${name}TestModels ${name}TestModelFiles)
    target_compile_definitions(${name}TestModels INTERFACE "TEST_MODELS=\"${ORVANTIS_TEST_DRIVE}${folder}/\"")
    foreach(target IN ITEMS ${name}Tests ${name}Benchmarks)
        if(TARGET ${target})
            target_link_libraries(${target} PRIVATE ${name}TestModels)
        endif()
    endforeach()
endfunction()
