#!/bin/sh
# Cross-builds what the libraries stand on for 64-bit Windows, from Debian's source packages, to
# external/windows: a folder for each, with include/, lib/ and its licence. Those that lie there already are
# left alone, so an interrupted run goes on where it was. The compiler is MinGW-w64's, which tools/setup.sh
# --windows installs, as it does zlib for Windows, the only library that Debian has a package of.
# Usage: tools/fetch-windows.sh [--plan]
#
# All are archives but libtiff and libwebp, which libraster opens while it runs, and OpenColorIO, which libocio shares
# with a host that hands it processors. OpenSSL is there for tests alone: they have servers of their own, and an
# independent opinion; what ships uses the system's TLS and digests.
set -eu
# shellcheck disable=SC2034  # which fetching.sh reads
area=windows
# shellcheck source=tools/fetching.sh
. "$(dirname "$0")/fetching.sh"

compiler=x86_64-w64-mingw32
build=$partial/build
jobs=${ORVANTIS_JOBS:-$(nproc)}

# library NAME PACKAGE RECIPE...: external/windows/NAME is made from the source of a Debian package, named as for
# debian_source, by the function or the CMake options in RECIPE.
library() {
    name=$1 package=$2
    shift 2
    recipe="$package: $*"
    if [ -n "$planning" ]; then
        stands_whole || plan "source:$package"
        return
    fi
    ! stands_whole || return 0
    debian_source "$package"
    source=$partial/${package%%/*}
    made=$partial/made/$name
    rm -rf "$build" && mkdir -p "$build" "$made"
    watching "building $name" no_state in_log "$@" || {
        tail -n 20 "$partial/build.log" >&2
        die "$name cannot be built"
    }
    keep_licence
    place "$made" "$name" "$recipe"
}

stands_whole() { stands "$name" "$recipe"; }

# keep_licence: Debian's, or upstream's, which may have those of what it contains in a second file.
keep_licence() {
    if [ -f "$source/debian/copyright" ]; then
        cp "$source/debian/copyright" "$made/"
    else
        cat "$source/LICENSE" "$source"/THIRD-PARTY* > "$made/copyright" 2> /dev/null || true
    fi
    [ -s "$made/copyright" ] || die "$name has no licence"
}

in_log() { (set -e; cd "$build" && "$@") > "$partial/build.log" 2>&1 < /dev/null; }

# by_cmake FOLDER OPTION...: FOLDER is that of CMakeLists.txt in the source.
by_cmake() {
    folder=$1
    shift
    cmake -S "$source/$folder" -B "$build" -G Ninja -D CMAKE_TOOLCHAIN_FILE="$root/cmake/MinGW.cmake" \
        -D CMAKE_BUILD_TYPE=Release -D CMAKE_INSTALL_PREFIX="$made" -D BUILD_SHARED_LIBS=OFF "$@" &&
        cmake --build "$build" -j "$jobs" && cmake --install "$build"
}

# by_configure OPTION...: for the source's own script, of which only the library in src/ is built.
by_configure() {
    "$source/configure" --host=$compiler CC=$compiler-gcc-posix --prefix="$made" --disable-shared "$@" &&
        make -j "$jobs" -C src install && make -C include install && make install-pkgconfigDATA
}

by_openssl() {
    "$source/Configure" mingw64 --cross-compile-prefix=$compiler- CC=gcc-posix --prefix="$made" --libdir=lib \
        no-shared no-tests no-engine no-legacy no-async &&
        make -j "$jobs" build_libs && make install_dev
}

# by_xz: as CMake installs no file for pkg-config.
by_xz() { by_cmake . && write_module "$source/src/liblzma/liblzma.pc.in" liblzma; }

# by_opencolorio: for Windows CMake installs no file for pkg-config.
by_opencolorio() { by_cmake . "$@" && write_module "$source/src/OpenColorIO/res/OpenColorIO.pc.in" OpenColorIO; }

# by_expat: Debian's patches compare XML_DTD with 1, which only the source's other script defines as 1.
by_expat() { sed -i 's/^#cmakedefine XML_DTD$/& 1/' "$source/expat/expat_config.h.cmake" && by_cmake expat "$@"; }

# write_module TEMPLATE NAME: the file for pkg-config of what was installed.
write_module() {
    mkdir -p "$made/lib/pkgconfig" &&
        sed "s|@prefix@|$made|; s|@exec_prefix@|\${prefix}|; s|@libdir@|\${prefix}/lib|; s|@includedir@|\${prefix}/include|
            s|@P[A-Z]*_VERSION@|${version%%[+-]*}|; s|@PROJECT_NAME@|$2|; s|@[A-Z_]*@||g" "$1" > "$made/lib/pkgconfig/$2.pc"
}

# by_pystring: one source, whose own CMakeLists.txt installs no header.
by_pystring() {
    mkdir -p "$made/lib" "$made/include/pystring" && cp "$source/pystring.h" "$made/include/pystring/" &&
        $compiler-g++-posix -O2 -DNDEBUG -c "$source/pystring.cpp" && $compiler-ar rcs "$made/lib/libpystring.a" pystring.o
}

# copied: headers, which are the same everywhere, from Debian's own packages.
copied() {
    mkdir -p "$made/include" "$made/share/cmake"
    cp -rL /usr/include/nlohmann /usr/include/hwy /usr/include/CL /usr/include/CLI "$made/include/"
    cp -r /usr/share/cmake/nlohmann_json /usr/share/cmake/CLI11 "$made/share/cmake/"
}

# headers: an entry of its own, as it has no source package.
headers() {
    name=headers made=$partial/made/headers
    recipe=$(dpkg-query -W -f '${Package} ${Version} ' nlohmann-json3-dev libhwy-dev opencl-c-headers libcli11-dev)
    if [ -n "$planning" ] || stands_whole; then
        return 0
    fi
    mkdir -p "$build" "$made"
    in_log copied || die "the headers cannot be copied: $(tail -n 1 "$partial/build.log")"
    place "$made" "$name" "$recipe"
}

# No package of Debian's brings the rest of what these would use on Windows.
[ -n "$planning" ] || command -v $compiler-g++-posix > /dev/null || die "no compiler: tools/setup.sh --windows installs it"
[ -n "$planning" ] || headers
library xxhash xxhash by_cmake cmake_unofficial -D XXHASH_BUILD_XXHSUM=OFF
library zip libzip by_cmake . -D ENABLE_OPENSSL=OFF -D ENABLE_GNUTLS=OFF -D ENABLE_BZIP2=OFF -D ENABLE_LZMA=OFF \
    -D ENABLE_ZSTD=OFF -D ENABLE_COMMONCRYPTO=OFF -D BUILD_TOOLS=OFF -D BUILD_REGRESS=OFF -D BUILD_EXAMPLES=OFF -D BUILD_DOC=OFF
library gtest googletest by_cmake .
library curl curl by_cmake . -D CURL_USE_SCHANNEL=ON -D BUILD_CURL_EXE=OFF -D HTTP_ONLY=ON -D CURL_USE_LIBSSH2=OFF \
    -D BUILD_TESTING=OFF -D USE_LIBIDN2=OFF -D CURL_USE_LIBPSL=OFF -D CURL_ZLIB=OFF -D ENABLE_UNICODE=ON
library openssl openssl by_openssl
library jpeg libjpeg-turbo by_cmake . -D ENABLE_SHARED=OFF -D REQUIRE_SIMD=ON -D WITH_TURBOJPEG=OFF
library png libpng1.6 by_cmake . -D PNG_SHARED=OFF -D PNG_TESTS=OFF
library lcms2 lcms2 by_configure --without-jpeg --without-tiff
library lzma xz-utils by_xz
library zstd libzstd by_cmake build/cmake -D ZSTD_BUILD_PROGRAMS=OFF -D ZSTD_BUILD_SHARED=OFF -D ZSTD_BUILD_TESTS=OFF
library tiff tiff by_cmake . -D BUILD_SHARED_LIBS=ON -D tiff-tools=OFF -D tiff-tests=OFF -D tiff-contrib=OFF -D tiff-docs=OFF \
    -D webp=OFF -D zstd=ON -D lzma=ON -D jbig=OFF -D lerc=OFF -D libdeflate=OFF
library webp libwebp by_cmake . -D BUILD_SHARED_LIBS=ON -D WEBP_BUILD_ANIM_UTILS=OFF -D WEBP_BUILD_CWEBP=OFF \
    -D WEBP_BUILD_DWEBP=OFF -D WEBP_BUILD_GIF2WEBP=OFF -D WEBP_BUILD_IMG2WEBP=OFF -D WEBP_BUILD_VWEBP=OFF \
    -D WEBP_BUILD_WEBPINFO=OFF -D WEBP_BUILD_WEBPMUX=OFF -D WEBP_BUILD_EXTRAS=OFF
# For OpenColorIO, whose archive of Debian 12 not every mirror has: that of Debian 13 has the same interface. By
# itself it takes paths for texts in a code page.
library expat expat by_expat -D EXPAT_SHARED_LIBS=OFF -D EXPAT_BUILD_TOOLS=OFF -D EXPAT_BUILD_EXAMPLES=OFF \
    -D EXPAT_BUILD_TESTS=OFF -D EXPAT_BUILD_DOCS=OFF
library yaml yaml-cpp by_cmake . -D YAML_CPP_BUILD_TOOLS=OFF -D YAML_CPP_BUILD_TESTS=OFF
library imath imath by_cmake . -D BUILD_TESTING=OFF
library pystring pystring/trixie by_pystring
library opencolorio opencolorio/trixie by_opencolorio -D BUILD_SHARED_LIBS=ON -D OCIO_INSTALL_EXT_PACKAGES=NONE \
    -D OCIO_USE_WINDOWS_UNICODE=ON -D OCIO_BUILD_APPS=OFF -D OCIO_BUILD_PYTHON=OFF -D OCIO_BUILD_TESTS=OFF \
    -D OCIO_BUILD_GPU_TESTS=OFF
