# What the desktop, the shell and the reader of manuals find: menu entry, description for software centres, icon, manual pages
# made from --help, completions, and a unit for those who run the service by themselves.
set(service ${CMAKE_INSTALL_FULL_BINDIR}/parlowen-service)
set(version ${PROJECT_VERSION})
set(license Apache-2.0)
foreach(file desktop/org.parlowen.Parlowen.desktop desktop/org.parlowen.Parlowen.metainfo.xml systemd/parlowen-service.service)
  get_filename_component(name ${file} NAME)
  configure_file(packaging/${file} ${name} @ONLY)
endforeach()
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/org.parlowen.Parlowen.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/org.parlowen.Parlowen.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES resources/icons/logo.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps RENAME org.parlowen.Parlowen.svg)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/parlowen-service.service DESTINATION lib/systemd/user)
install(FILES packaging/completions/_parlowen DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
foreach(program parlowen parlowen-service)
  install(FILES packaging/completions/parlowen.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${program})
  install(FILES packaging/completions/parlowen.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d RENAME ${program}.fish)
endforeach()

# manual_page(PROGRAM "what it is"): only where help2man is, as for a package.
find_program(HELP2MAN help2man)
function(manual_page program name)
  set(page ${CMAKE_CURRENT_BINARY_DIR}/${program}.1)
  # The service shows the folders of whoever asks. Lines stay ragged, and break behind the commas of a long list of defaults, which
  # has no blanks to spread.
  add_custom_command(
    OUTPUT ${page}.gz
    COMMAND ${CMAKE_COMMAND} -E env --unset=XDG_DATA_HOME --unset=XDG_CONFIG_HOME LC_ALL=C.UTF-8 "HOME=/~" ${HELP2MAN} --locale=C.UTF-8
            --no-info --no-discard-stderr "--name=${name}"
            --include=${CMAKE_CURRENT_SOURCE_DIR}/packaging/man/${program}.h2m --output=${page} $<TARGET_FILE:${program}>
    COMMAND sed -i -e "/(=/s/,/,\\\\:/g" -e "s:/~/:~/:g" -e "/^.TH/a .ad l" ${page}
    COMMAND gzip -9nf ${page}
    DEPENDS ${program} packaging/man/${program}.h2m
    VERBATIM)
  add_custom_target(${program}_manual ALL DEPENDS ${page}.gz)
  install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endfunction()
if(HELP2MAN)
  manual_page(parlowen "hear an interview, read along, and get answers")
  manual_page(parlowen-service "backend of Parlowen")
endif()
