# Where `cmake --install` puts the app, the command line and the desktop files, and how CPack makes a .deb.

include(GNUInstallDirs)

# One reverse-DNS name for the desktop entry, the icon and the AppStream component, so desktops can tie
# the running window, its launcher and its store page together.
set(TALLOWPINE_APP_ID io.github.tallowpine.TallowPine)

# Nothing of ours is a shared library: the installed programs need no search path of their own.
set_target_properties(tallowpine-cli PROPERTIES INSTALL_RPATH "")
install(TARGETS tallowpine-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

if(TARGET tallowpine)
    target_compile_definitions(tallowpine PRIVATE TALLOWPINE_APP_ID="${TALLOWPINE_APP_ID}")
    set_target_properties(tallowpine PROPERTIES INSTALL_RPATH "")
    install(TARGETS tallowpine RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    set(desktop_files ${PROJECT_SOURCE_DIR}/packaging)
    install(FILES ${desktop_files}/${TALLOWPINE_APP_ID}.desktop
            DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
    install(FILES ${desktop_files}/${TALLOWPINE_APP_ID}.svg
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
    install(FILES ${desktop_files}/${TALLOWPINE_APP_ID}.metainfo.xml
            DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
endif()

set(CPACK_PACKAGE_NAME tallowpine)
set(CPACK_PACKAGE_VENDOR "TallowPine")
set(CPACK_PACKAGE_CONTACT "TallowPine developers" CACHE STRING "Maintainer field of the .deb")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Browse the packages of many APT repositories at once")
set(CPACK_PACKAGE_DESCRIPTION "Gathers the Debian Packages indexes of many APT repositories of jailbreak\n\
tweaks into one browsable, searchable catalogue; tallowpine-cli runs the same\n\
operations without a window.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
# dpkg-shlibdeps finds the linked libraries (Qt, zlib, fontconfig, the C++ runtime). It cannot see what
# Qt loads by name at run time: the QML modules the screens import (QtQuick, Controls with its Basic
# style on Templates, Layouts, Dialogs for the file pickers, whose own dialog lists files through
# Qt.labs.folderlistmodel, and WorkerScript, which QtQuick pulls in) and the fonts the screens draw
# with (Noto for Latin and Arabic, Noto Color Emoji, Material Icons for every symbol). Without the
# system's certificate authorities no index loads over HTTPS.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(TALLOWPINE_RUNTIME_PACKAGES ca-certificates)
if(TARGET tallowpine)
    list(APPEND TALLOWPINE_RUNTIME_PACKAGES
         qml6-module-qtquick
         qml6-module-qtquick-controls
         qml6-module-qtquick-templates
         qml6-module-qtquick-layouts
         qml6-module-qtquick-dialogs
         qml6-module-qt-labs-folderlistmodel
         qml6-module-qtqml-workerscript
         fonts-noto-core
         fonts-noto-color-emoji
         fonts-material-design-icons-iconfont)
    # Source names in Chinese or Japanese draw as boxes without it; Wayland sessions fall back to
    # XWayland without Qt's Wayland plugin.
    set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-noto-cjk, qt6-wayland")
endif()
string(JOIN ", " CPACK_DEBIAN_PACKAGE_DEPENDS ${TALLOWPINE_RUNTIME_PACKAGES})

include(CPack)
