# Run by cpack in what it has installed: Debian has some files in another form or place.
set(share ${CPACK_TEMPORARY_DIRECTORY}/usr/share)

file(MAKE_DIRECTORY ${share}/zsh ${share}/lintian/overrides)
file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)
configure_file(${CMAKE_CURRENT_LIST_DIR}/lintian-overrides ${share}/lintian/overrides/tarnwick COPYONLY)

string(TIMESTAMP released "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${share}/doc/tarnwick/changelog "tarnwick (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * CHANGELOG.md in this folder says what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${released}
")
file(CHMOD ${share}/doc/tarnwick/changelog
  PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
execute_process(COMMAND gzip -9n ${share}/doc/tarnwick/changelog ${share}/man/man8/tarnwick.8
  COMMAND_ERROR_IS_FATAL ANY)
