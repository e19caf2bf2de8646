# Two Debian packages: "ryntool", the tool, and "corvane", the manager with the cellular service.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ryntool)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "ryntool maintainers <maintainers@ryntool.invalid>")
# Each package has its own first line.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
# Installed by DESTDIR, so that the units name the programs where they will be.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ryntool corvane)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RYNTOOL_PACKAGE_NAME ryntool)
set(CPACK_DEBIAN_RYNTOOL_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_RYNTOOL_PACKAGE_RECOMMENDS corvane)
set(CPACK_COMPONENT_RYNTOOL_DESCRIPTION "command-line inspection and control of a phone's baseband
ryntool is an engineer's tool: it shows the baseband's state, sets its
operating mode, resets it, runs its self-test, and configures, collects and
filters its traces, through the baseband manager of package corvane.")

set(CPACK_DEBIAN_CORVANE_PACKAGE_NAME corvane)
set(CPACK_DEBIAN_CORVANE_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_CORVANE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CORVANE_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers, systemd | systemd-standalone-tmpfiles | systemd-tmpfiles")
set(CPACK_DEBIAN_CORVANE_PACKAGE_RECOMMENDS ryntool)
set(CPACK_DEBIAN_CORVANE_PACKAGE_SUGGESTS modemmanager)
foreach(script postinst prerm postrm)
  list(APPEND CPACK_DEBIAN_CORVANE_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/${script})
endforeach()
set(CPACK_COMPONENT_CORVANE_DESCRIPTION "baseband manager daemon
Corvane owns a phone's baseband, a real modem through ModemManager or a
simulated one, keeps its trace settings, and serves its clients over a local
socket. Pellcore, the cellular service, brings the baseband online.")

include(CPack)
