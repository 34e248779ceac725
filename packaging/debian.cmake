# Brings the files to where a Debian package has them, before it is closed.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)
execute_process(COMMAND gzip -9n ${share}/man/man1/loopbox.1 COMMAND_ERROR_IS_FATAL ANY)
