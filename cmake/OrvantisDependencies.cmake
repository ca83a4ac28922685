# Third-party libraries, each found here and linked by one library only. All are Debian packages but
# the inference runtime, which is loaded at run time: only its headers are needed to build.
include_guard()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(ISAL QUIET libisal)
option(ORVANTIS_ISAL "Compress and inflate PNG files with ISA-L, not zlib" ${ISAL_FOUND})
include(OrvantisThirdParties)
set(lacking "")
set(libraries Kernel Network Raster)
if(ORVANTIS_OCIO)
    list(APPEND libraries OCIO)
endif()
foreach(library IN LISTS libraries)
    orvantis_find_third_parties(${library} missing)
    list(APPEND lacking ${missing})
endforeach()
if(lacking)
    list(JOIN lacking ", " lacking)
    message(FATAL_ERROR "Not found, but needed: ${lacking}. On Debian, tools/setup.sh installs them.")
endif()
find_path(HWY_HEADERS hwy/highway.h REQUIRED)                 # Raster: formats/Highway.h; its library is not linked
find_path(OPENCL_HEADERS CL/cl.h REQUIRED)                    # Raster: hardware/, which loads OpenCL when needed
find_path(TIFF_HEADERS tiffio.h REQUIRED)                      # Raster: codecs/, which loads libtiff and libwebp when needed
find_path(WEBP_HEADERS webp/demux.h REQUIRED)
find_program(MSGFMT msgfmt REQUIRED)                          # GNU gettext's, for translations
find_package(CLI11 REQUIRED)                                  # the programs `learning` and `learning-service`
if(ORVANTIS_DEVELOPER OR NOT WIN32)
    find_package(OpenSSL REQUIRED)                            # Server: tls/
endif()

# SIMD for the plain baseline, SSE4, AVX2 and AVX-512; what lies between gains too little for its size.
add_library(Simd INTERFACE)
target_include_directories(Simd SYSTEM INTERFACE "${HWY_HEADERS}")
# The namespace has a name of our own, since libraster defines what Highway's library does, and a host may have that, too.
target_compile_definitions(Simd INTERFACE "HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_AVX3_DL)" hwy=RasterHighway)
if(MINGW)
    # GCC takes the stack for aligned to whole vectors, of which Windows knows nothing (GCC's bug 54412): what it
    # keeps there is to be moved as unaligned.
    target_compile_options(Simd INTERFACE -Wa,-muse-unaligned-vector-move)
endif()
if(ORVANTIS_SANITIZE MATCHES float-divide-by-zero)
    # Vector code divides in all lanes and then selects: quotients by 0 are computed, but not used.
    target_compile_options(Simd INTERFACE -fno-sanitize=float-divide-by-zero)
endif()

add_library(OpenCLHeaders INTERFACE)
target_include_directories(OpenCLHeaders SYSTEM INTERFACE "${OPENCL_HEADERS}")

add_library(PictureHeaders INTERFACE)
target_include_directories(PictureHeaders SYSTEM INTERFACE "${TIFF_HEADERS}" "${WEBP_HEADERS}")

if(NOT EXISTS "${ORVANTIS_RUNTIME_DIR}/include/onnxruntime_cxx_api.h")
    message(FATAL_ERROR "The inference runtime is not in ${ORVANTIS_RUNTIME_DIR}: run tools/setup.sh, "
                        "or name its folder with -D ORVANTIS_RUNTIME_DIR=...")
endif()
add_library(ONNXRuntimeHeaders INTERFACE)                     # Learning: inference/
target_include_directories(ONNXRuntimeHeaders SYSTEM INTERFACE "${ORVANTIS_RUNTIME_DIR}/include")
target_compile_definitions(ONNXRuntimeHeaders INTERFACE ORT_API_MANUAL_INIT)
if(MINGW)
    # A word of Microsoft's compiler, which GCC knows only where its extensions are on.
    target_compile_definitions(ONNXRuntimeHeaders INTERFACE _stdcall=__stdcall)
endif()
if(WIN32)
    set(ORVANTIS_RUNTIME_LIBRARY "${ORVANTIS_RUNTIME_DIR}/win/onnxruntime.dll")
else()
    set(ORVANTIS_RUNTIME_LIBRARY "${ORVANTIS_RUNTIME_DIR}/linux/libonnxruntime.so.1")
endif()
include(OrvantisShipped)

if(ORVANTIS_DEVELOPER OR ORVANTIS_FUZZERS)
    pkg_check_modules(PictureWriters REQUIRED IMPORTED_TARGET libtiff-4 libwebp)  # make files for tests
    add_library(PictureWriters INTERFACE)
    target_link_libraries(PictureWriters INTERFACE PkgConfig::PictureWriters)
endif()
if(ORVANTIS_DEVELOPER)
    find_package(GTest REQUIRED)
    find_package(ZLIB REQUIRED)                               # archives for tests
    # Makes small models for tests, with Debian's python3-onnx: so not any python3 on the search path.
    find_program(ORVANTIS_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)
endif()
if(ORVANTIS_BENCHMARKS)
    find_package(benchmark REQUIRED)
    # Peers of the pixel benchmarks, which leave out what is not there.
    find_package(OpenCV QUIET COMPONENTS core imgproc)
    pkg_check_modules(BABL QUIET IMPORTED_TARGET babl)
    pkg_check_modules(TURBOJPEG QUIET IMPORTED_TARGET libturbojpeg)
    pkg_check_modules(VIPS QUIET IMPORTED_TARGET vips)
endif()
