# Read by cpack before it makes the package.

# The changelog says when this version was released, which is the age of all that is in the package. What is not
# released yet stands above it.
file(STRINGS ${CPACK_TARNWICK_SOURCE}/CHANGELOG.md heading REGEX "^## [0-9]" LIMIT_COUNT 1)
if(NOT heading MATCHES "^## ([0-9.]+) \\(([0-9-]+)\\)$" OR NOT CMAKE_MATCH_1 STREQUAL CPACK_PACKAGE_VERSION)
  message(FATAL_ERROR "CHANGELOG.md has the version '${heading}', and the version is ${CPACK_PACKAGE_VERSION}")
endif()
execute_process(COMMAND date --utc --date=${CMAKE_MATCH_2} +%s
  OUTPUT_VARIABLE released OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(ENV{SOURCE_DATE_EPOCH} ${released})

# dpkg-shlibdeps asks dpkg for the packages of libraries, which knows none of the sysroot.
if(CPACK_TARNWICK_PROGRAM)
  set(sysroot ${CPACK_TARNWICK_SOURCE}/build/sysroot-aarch64)
  set(folder ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
  file(WRITE ${folder}/debian/control "Source: tarnwick\n\nPackage: tarnwick\nArchitecture: any\n")
  configure_file(${sysroot}/shlibs ${folder}/debian/shlibs.local COPYONLY)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env DEB_HOST_ARCH=${CPACK_DEBIAN_PACKAGE_ARCHITECTURE}
    dpkg-shlibdeps -O -l${sysroot}/lib/aarch64-linux-gnu -l${sysroot}/usr/lib/aarch64-linux-gnu
      -l${sysroot}/usr/lib/aarch64-linux-gnu/android -e ${CPACK_TARNWICK_PROGRAM}
    WORKING_DIRECTORY ${folder} OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE "shlibs:Depends=" "" CPACK_DEBIAN_PACKAGE_DEPENDS "${depends}")
endif()
