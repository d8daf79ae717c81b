# SPDX-License-Identifier: MIT
# tidewell_install_desktop_entry(<entry file> <program>)
# Installs a desktop entry whose Exec lines start <program> by its full installed path. KWin
# grants its window management (X-KDE-Wayland-Interfaces) only to a client whose executable is
# the program an entry's Exec names, compared as a full path.
include(GNUInstallDirs)
function(tidewell_install_desktop_entry entry program)
  get_filename_component(name ${entry} NAME)
  file(READ ${entry} text)
  string(REGEX REPLACE "(^|\n)Exec=${program}([ \n])" "\\1Exec=${CMAKE_INSTALL_FULL_BINDIR}/${program}\\2"
    text "${text}")
  set(out ${CMAKE_CURRENT_BINARY_DIR}/${name})
  file(WRITE ${out} "${text}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${entry})
  install(FILES ${out} DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
endfunction()
