# What comes from others and lies beside our modules or in them, with its licence. On Linux it is the inference
# runtime and headers alone, since Debian has the rest; on Windows, which has nothing, it is all of it.
include_guard()

# ORVANTIS_SHIPPED_LIBRARIES: DLLs that modules link to or open, each looked for beside them and nowhere else.
# ORVANTIS_SHIPPED_LICENCES: <folder>=<file>, where they are installed and come from; one folder may have several.
set(ORVANTIS_SHIPPED_LIBRARIES "")
set(ORVANTIS_SHIPPED_LICENCES
    "onnxruntime=${ORVANTIS_RUNTIME_DIR}/licences/LICENSE"
    "onnxruntime=${ORVANTIS_RUNTIME_DIR}/licences/ThirdPartyNotices.txt"
    "highway=${ORVANTIS_HIGHWAY_LICENCE}"
    "cli11=${ORVANTIS_CLI11_LICENCE}"
    "nlohmann-json=${ORVANTIS_JSON_LICENCE}")
if(NOT MINGW)
    return()  # Microsoft's compiler has its own redistributable, and vcpkg copies what it builds
endif()

# All modules share the compiler's DLLs: with a copy in each, what one module throws would not be what another
# one catches.
foreach(name IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${name}
        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND ORVANTIS_SHIPPED_LIBRARIES "${path}")
endforeach()
# libraster opens these when it meets pictures of their kinds.
list(APPEND ORVANTIS_SHIPPED_LIBRARIES
    "${TIFF_HEADERS}/../bin/libtiff.dll" "${WEBP_HEADERS}/../bin/libwebp.dll" "${WEBP_HEADERS}/../bin/libwebpdemux.dll")
# What is linked into our DLLs and those, each in a folder of tools/fetch-windows.sh. Tests alone use the others.
set(inside curl jpeg lcms2 lzma png tiff webp xxhash zip zstd)
set(folder "${PROJECT_SOURCE_DIR}/external/windows")
if(ORVANTIS_OCIO)
    list(APPEND ORVANTIS_SHIPPED_LIBRARIES "${folder}/opencolorio/bin/libOpenColorIO_2_1.dll")
    list(APPEND inside expat imath opencolorio pystring yaml)
endif()
file(MAKE_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
foreach(path IN LISTS ORVANTIS_SHIPPED_LIBRARIES)
    cmake_path(GET path FILENAME name)
    file(COPY_FILE "${path}" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}" ONLY_IF_DIFFERENT)
endforeach()
foreach(name IN LISTS inside)
    list(APPEND ORVANTIS_SHIPPED_LICENCES "${name}=${folder}/${name}/copyright")
endforeach()
# Debian's files name the texts of the GNU licences by their places on its systems.
list(APPEND ORVANTIS_SHIPPED_LICENCES
    "zlib=/usr/share/doc/libz-mingw-w64-dev/copyright"
    "gcc=/usr/share/doc/gcc-mingw-w64-base/copyright"
    "gcc=/usr/share/common-licenses/GPL-3"
    "mingw-w64=/usr/share/doc/mingw-w64-common/copyright")
