# Debian packages: scripts/debian-packages builds and checks them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME fliprugair)
set(CPACK_PACKAGE_CONTACT "Fliprugair maintainers <maintainers@fliprugair.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Revision 0: no package of Debian's own, which would take the revisions from 1 on.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0fliprugair1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

get_target_property(so_version fliprugair_shared SOVERSION)
set(library_package libfliprugair${so_version})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS gpsd)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libfliprugair-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME fliprugair-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
# A summary, and below it what CPack indents as Debian wants it. CPack's own summary would come first.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(about "A host app links the tracker in and drives it through one object. It
reports the installation, sessions and events to a control host of the
app's own.

This package contains")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "install-attribution and analytics tracker
${about} the shared library.")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "install-attribution and analytics tracker (development)
${about} the headers, the files for CMake and
pkg-config, and the virtual device for the tests of a host app.")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "simulator and control host of the Fliprugair tracker
${about} a simulator of devices, a control host to develop
against, and a load generator for control hosts.")
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/LdconfigTrigger.cmake)

# What every Debian package has to have with it.
set(debian ${CMAKE_CURRENT_BINARY_DIR}/debian)
configure_file(cmake/debian/changelog.in debian/changelog.Debian @ONLY)
configure_file(CHANGELOG.md debian/changelog COPYONLY)
execute_process(COMMAND gzip -9nkf changelog.Debian changelog WORKING_DIRECTORY ${debian} COMMAND_ERROR_IS_FATAL ANY)
foreach(pair IN ITEMS library=${library_package} development=libfliprugair-dev tools=fliprugair-tools)
  string(REPLACE "=" ";" pair ${pair})
  list(POP_FRONT pair component name)
  install(FILES ${debian}/changelog.Debian.gz ${debian}/changelog.gz ${PROJECT_SOURCE_DIR}/cmake/debian/copyright
                ${PROJECT_SOURCE_DIR}/SPDX.txt DESTINATION share/doc/${name} COMPONENT ${component})
endforeach()
foreach(program IN ITEMS fliprugair-sim fliprugair-controlhost fliprugair-swarm)
  configure_file(cmake/debian/${program}.1 debian/${program}.1 COPYONLY)
  execute_process(COMMAND gzip -9nkf ${program}.1 WORKING_DIRECTORY ${debian} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${debian}/${program}.1.gz DESTINATION share/man/man1 COMPONENT tools)
endforeach()
include(CPack)
