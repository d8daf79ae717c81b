# SPDX-License-Identifier: MIT
# The Debian package (CPack): `scripts/package` builds it. Library dependencies come from
# dpkg-shlibdeps; what the linker cannot see is named here: Qt's SVG image and icon-engine
# plugins (the tray and preference icons are SVG), xdg-open for URLs.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tidewell)
set(CPACK_PACKAGE_VENDOR "Quillfen")
set(CPACK_PACKAGE_CONTACT "Quillfen <support@quillfen.net>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "clear the screen down to the desktop")
set(CPACK_PACKAGE_DESCRIPTION
  "Tidewell hides every ordinary running application except the file manager and an\n\
exclusion list with one click on its tray icon, and shows them all again with a\n\
Shift-click. It offers a menu of running applications to toggle, a menu-bar\n\
helper, commands for keyboard shortcuts (tidewell --hide-all, --show-all) and a\n\
URL scheme (x-tidewell-action://preferences). It works on X11 desktops whose\n\
window manager follows EWMH.")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://quillfen.net/tidewell/")
# The package installs where the build was configured to (scripts/package configures /usr):
# the desktop entries name the programs by that path.
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt's own translations: without them the file chooser's labels stay English in a German
# session, beside Tidewell's translated texts.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6svg6, qt6-translations-l10n, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "desktop-file-utils, hicolor-icon-theme")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)

include(CPack)
