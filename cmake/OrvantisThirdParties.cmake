# What each library links to besides the others: read by the build, and where the libraries are archives by
# the installed package too. The flags are those of the pkg-config files.
set(Orvantis_Kernel_PACKAGES "nlohmann_json 3.11") # json/; public, so in OrvantisConfig.cmake.in too
set(Orvantis_Kernel_MODULES libzip libxxhash)      # archives/, hashing/
set(Orvantis_Kernel_FLAGS -lzip -lxxhash -pthread)
set(Orvantis_Network_PACKAGES "CURL 7.88")         # curl/
set(Orvantis_Network_FLAGS -lcurl)
if(NOT WIN32)                                      # which has TLS and digests itself
    list(APPEND Orvantis_Kernel_FLAGS -ldl)        # for the others, too
    list(APPEND Orvantis_Network_PACKAGES OpenSSL) # trust/, cache/
    list(APPEND Orvantis_Network_FLAGS -lssl -lcrypto)
endif()
set(Orvantis_Raster_PACKAGES JPEG PNG)             # codecs/
set(Orvantis_Raster_MODULES lcms2)                 # colour/
set(Orvantis_Raster_FLAGS -ljpeg -lpng -llcms2)
if(ORVANTIS_ISAL)
    list(APPEND Orvantis_Raster_MODULES libisal)   # codecs/isal/
    list(APPEND Orvantis_Raster_FLAGS -lisal)
endif()
set(Orvantis_OCIO_MODULES OpenColorIO)             # processors/
set(Orvantis_OCIO_FLAGS -lOpenColorIO)
set(Orvantis_Learning_FLAGS "")
if(WIN32)
    list(APPEND Orvantis_Learning_FLAGS -Wl,--undefined=OrvantisWindowsAppRuntimeIsLoaded)  # which nothing refers to
endif()

# orvantis_find_third_parties(<library> <variable>)
# Finds what a library links to, and sets the variable to what was not found. A module of pkg-config
# becomes the target PkgConfig::Orvantis_<module>.
function(orvantis_find_third_parties library missing)
    set(names "")
    foreach(package IN LISTS Orvantis_${library}_PACKAGES)
        separate_arguments(arguments UNIX_COMMAND "${package}")
        list(GET arguments 0 name)
        find_package(${arguments} QUIET)
        if(NOT ${name}_FOUND)
            list(APPEND names "${package}")
        endif()
    endforeach()
    if(Orvantis_${library}_MODULES)
        find_package(PkgConfig QUIET)
    endif()
    foreach(module IN LISTS Orvantis_${library}_MODULES)
        if(PkgConfig_FOUND)
            pkg_check_modules(Orvantis_${module} QUIET IMPORTED_TARGET ${module})
        endif()
        if(NOT TARGET PkgConfig::Orvantis_${module})
            list(APPEND names ${module})
        endif()
    endforeach()
    set(${missing} "${names}" PARENT_SCOPE)
endfunction()
