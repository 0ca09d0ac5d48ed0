# What is installed where, and the two packages that are made of it. Everything is found from where the
# program lies: bin, libexec/sonmere, lib/sonmere and share/sonmere stand side by side.
set(helpers libexec/sonmere)
set(shared share/sonmere)
set(packaging ${CMAKE_SOURCE_DIR}/packaging)

install(TARGETS sonmere RUNTIME DESTINATION bin COMPONENT sonmere)
install(TARGETS sonmere-effects sonmere-tap-guard RUNTIME DESTINATION ${helpers} COMPONENT sonmere)
install(TARGETS sonmere_ffmpeg LIBRARY DESTINATION lib/sonmere/modules COMPONENT sonmere)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/resources/demo ${CMAKE_SOURCE_DIR}/resources/driver DESTINATION ${shared}
        COMPONENT sonmere)
# What only the packager knows: where newer versions are told (a full path or an https address of a small JSON file
# with version, url and notes), and whom users write to. Without them there is neither.
foreach(what update-feed feedback-address)
  string(TOUPPER "SONMERE_${what}" variable)
  string(REPLACE - _ variable ${variable})
  set(${variable} "" CACHE STRING "What the package says as ${what}")
  if(NOT "${${variable}}" STREQUAL "")
    file(WRITE ${CMAKE_BINARY_DIR}/packager/${what} "${${variable}}\n")
    install(FILES ${CMAKE_BINARY_DIR}/packager/${what} DESTINATION ${shared} COMPONENT sonmere)
  endif()
endforeach()
install(FILES ${packaging}/sonmere.service DESTINATION lib/systemd/user COMPONENT sonmere)
install(FILES ${packaging}/com.sonmere.Sonmere1.service DESTINATION share/dbus-1/services COMPONENT sonmere)
install(FILES ${CMAKE_BINARY_DIR}/sonmere.bash DESTINATION share/bash-completion/completions RENAME sonmere
        COMPONENT sonmere)
install(FILES ${CMAKE_BINARY_DIR}/_sonmere DESTINATION share/zsh/vendor-completions COMPONENT sonmere)
install(FILES ${CMAKE_BINARY_DIR}/sonmere.fish DESTINATION share/fish/vendor_completions.d COMPONENT sonmere)
install(FILES ${CMAKE_SOURCE_DIR}/CHANGELOG.md ${CMAKE_SOURCE_DIR}/docs/user-guide.md ${CMAKE_SOURCE_DIR}/docs/control.md
              ${CMAKE_SOURCE_DIR}/docs/pipewire.md ${CMAKE_SOURCE_DIR}/docs/file-formats.md
        DESTINATION share/doc/sonmere COMPONENT sonmere)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs/json DESTINATION share/doc/sonmere COMPONENT sonmere)

# The system reads manual pages and changelogs compressed.
find_program(GZIP gzip)
function(install_compressed file component destination)
  get_filename_component(name ${file} NAME)
  set(result ${CMAKE_BINARY_DIR}/compressed/${component}/${ARGV3}${name}.gz)
  install(CODE "file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/compressed/${component})
    execute_process(COMMAND ${GZIP} -9nc ${file} OUTPUT_FILE ${result} COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT ${component})
  install(FILES ${result} DESTINATION ${destination} RENAME ${name}.gz COMPONENT ${component})
endfunction()
# One page for the program and one for each command, as many as the build has written.
install(CODE "file(GLOB pages ${CMAKE_BINARY_DIR}/man/*.1)
  file(REMOVE_RECURSE ${CMAKE_BINARY_DIR}/compressed/man)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/compressed/man)
  foreach(page IN LISTS pages)
    get_filename_component(name \${page} NAME)
    execute_process(COMMAND ${GZIP} -9nc \${page} OUTPUT_FILE ${CMAKE_BINARY_DIR}/compressed/man/\${name}.gz
                    COMMAND_ERROR_IS_FATAL ANY)
  endforeach()" COMPONENT sonmere)
install(DIRECTORY ${CMAKE_BINARY_DIR}/compressed/man/ DESTINATION share/man/man1 COMPONENT sonmere)
# The system's own form has one entry a version; what changed stands in CHANGELOG.md.
configure_file(${packaging}/changelog.in ${CMAKE_BINARY_DIR}/changelog @ONLY)
install_compressed(${CMAKE_BINARY_DIR}/changelog sonmere share/doc/sonmere)
install(FILES ${packaging}/copyright DESTINATION share/doc/sonmere COMPONENT sonmere)

if(TARGET sonmere-window)
  install(TARGETS sonmere-window RUNTIME DESTINATION bin COMPONENT sonmere-window)
  install(FILES ${packaging}/com.sonmere.Sonmere.desktop DESTINATION share/applications COMPONENT sonmere-window)
  install(FILES ${packaging}/com.sonmere.Sonmere.metainfo.xml DESTINATION share/metainfo COMPONENT sonmere-window)
  install(FILES ${packaging}/com.sonmere.Sonmere.svg DESTINATION share/icons/hicolor/scalable/apps
          COMPONENT sonmere-window)
  install(FILES ${packaging}/com.sonmere.Sonmere-symbolic.svg DESTINATION share/icons/hicolor/symbolic/apps
          COMPONENT sonmere-window)
  install_compressed(${packaging}/sonmere-window.1 sonmere-window share/man/man1)
  install_compressed(${CMAKE_BINARY_DIR}/changelog sonmere-window share/doc/sonmere-window window-)
  install(FILES ${packaging}/copyright DESTINATION share/doc/sonmere-window COMPONENT sonmere-window)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Sonmere <packages@sonmere.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL sonmere)
if(TARGET sonmere-window)
  list(APPEND CPACK_COMPONENTS_ALL sonmere-window)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
set(CPACK_DEBIAN_SONMERE_PACKAGE_NAME sonmere)
set(CPACK_DEBIAN_SONMERE_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_SONMERE_PACKAGE_RECOMMENDS "pipewire, wireplumber, rtkit")
set(CPACK_DEBIAN_SONMERE_PACKAGE_SUGGESTS "sonmere-window")
set(CPACK_COMPONENT_SONMERE_DESCRIPTION
    "per-app volume, routing and recording of sound
Every program that plays sound gets its own volume, equaliser and limiter;
chosen programs, the microphone and plug-ins go into a virtual device with
eight Tracks, where call clients, encoders and workstations pick them up, and
into recordings that survive a crash. This package holds the service and the
command line.")
set(CPACK_DEBIAN_SONMERE-WINDOW_PACKAGE_NAME sonmere-window)
set(CPACK_DEBIAN_SONMERE-WINDOW_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_SONMERE-WINDOW_PACKAGE_DEPENDS "sonmere (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_SONMERE-WINDOW_DESCRIPTION
    "window over the Sonmere sound service
Apps with their meters, volumes, equalisers and routes, the microphone,
recording, a library of recordings with editors for one file and for several
tracks, and an icon in the tray.")
include(CPack)
