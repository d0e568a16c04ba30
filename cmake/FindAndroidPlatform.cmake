# The platform's own libraries, which Debian packages as android-libutils-dev and android-liblog-dev:
# headers in the folder `android` of the include directory, libraries in the folder of that name of the
# library directory.
#
#   AndroidPlatform::utils   RefBase, sp, uptimeMillis, elapsedRealtime
#   AndroidPlatform::log     __android_log_write
#
# Programs that link to them get the run path AndroidPlatform_RUN_PATH, if it is set.

find_path(AndroidPlatform_INCLUDE_DIR utils/RefBase.h PATH_SUFFIXES android)
find_library(AndroidPlatform_utils_LIBRARY utils PATH_SUFFIXES android)
find_library(AndroidPlatform_log_LIBRARY log PATH_SUFFIXES android)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidPlatform REQUIRED_VARS
  AndroidPlatform_INCLUDE_DIR AndroidPlatform_utils_LIBRARY AndroidPlatform_log_LIBRARY)

foreach(library utils log)
  if(AndroidPlatform_FOUND AND NOT TARGET AndroidPlatform::${library})
    add_library(AndroidPlatform::${library} UNKNOWN IMPORTED)
    set_target_properties(AndroidPlatform::${library} PROPERTIES
      IMPORTED_LOCATION ${AndroidPlatform_${library}_LIBRARY}
      INTERFACE_INCLUDE_DIRECTORIES ${AndroidPlatform_INCLUDE_DIR})
    if(AndroidPlatform_RUN_PATH)
      set_target_properties(AndroidPlatform::${library} PROPERTIES
        INTERFACE_LINK_OPTIONS LINKER:-rpath,${AndroidPlatform_RUN_PATH})
    endif()
  endif()
endforeach()
