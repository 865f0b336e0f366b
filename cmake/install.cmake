# Where `cmake --install` puts the files. The service looks for its tools in /usr/bin, and the sample web
# server configuration looks for the gateway in /usr/lib/qx_vod_service, whatever the prefix. The prefix is
# therefore /usr unless another is given, for packagers.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Where to install" FORCE)
endif()
include(GNUInstallDirs)
set(QX_UNIT_DIR lib/systemd/system CACHE PATH "Where the systemd unit goes")
set(QX_CONF_DIR /etc/qx_vod_service CACHE PATH "Where the settings of curl and wget go")
set(QX_PRIVATE_DIR lib/qx_vod_service)
set(QX_SHARED_DIR ${CMAKE_INSTALL_DATADIR}/qx_vod_service)
set(QX_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/qx-vod-service)
set(QX_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)

install(TARGETS qx_vod_service qx_vod_ctl qxmi_vod_transcode qxmi_startitem qxmi_grab
                qxmi_remote_transcode
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS vod_cgi RUNTIME DESTINATION ${QX_PRIVATE_DIR})
install(PROGRAMS ${QX_PACKAGING}/systemd/open-socket DESTINATION ${QX_PRIVATE_DIR})
install(FILES ${QX_PACKAGING}/systemd/qx-vod.service DESTINATION ${QX_UNIT_DIR})
install(FILES ${QX_PACKAGING}/clients/curlrc DESTINATION ${QX_CONF_DIR} RENAME .curlrc)
install(FILES ${QX_PACKAGING}/clients/wgetrc DESTINATION ${QX_CONF_DIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/web DESTINATION ${QX_SHARED_DIR})

foreach(section 1 5 8)
  file(GLOB pages CONFIGURE_DEPENDS ${QX_PACKAGING}/man/*.${section})
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()

install(FILES ${QX_PACKAGING}/completion/qx_vod_ctl.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME qx_vod_ctl)
install(FILES ${QX_PACKAGING}/completion/_qx_vod_ctl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)

file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
              ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md
        DESTINATION ${QX_DOC_DIR})
install(FILES ${documents} DESTINATION ${QX_DOC_DIR}/docs)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/decisions DESTINATION ${QX_DOC_DIR}/docs)
install(FILES ${QX_PACKAGING}/examples/media.conf ${QX_PACKAGING}/examples/vod.conf
        DESTINATION ${QX_DOC_DIR}/examples)
install(DIRECTORY ${QX_PACKAGING}/lighttpd ${QX_PACKAGING}/vsftpd
        DESTINATION ${QX_DOC_DIR}/examples)
