# The Debian packages: hddtest-module, which object managers load, and hddtest, the command with the
# embedded object manager. Target "packaged" builds their contents, deploy/pack makes them, and
# ./package does both. The configured prefix has to be /usr, because installed programs find some files
# by configured paths.
set(owner "The hddtest developers <hddtest@packages.invalid>")
set(release 1)
set(module_documents ${CMAKE_INSTALL_DATADIR}/doc/hddtest-module)
set(command_documents ${CMAKE_INSTALL_DATADIR}/doc/hddtest)
set(overrides ${CMAKE_INSTALL_DATADIR}/lintian/overrides)

# The contents of the packages. hddtest_compressed adds to this list.
add_custom_target(packaged DEPENDS hddtest hddtest_module kavroinventory hvx-run
                  pegasus_registration completion)

# hddtest_compressed(COMPONENT FOLDER FILE NAME): installs a copy of the file that gzip made.
function(hddtest_compressed component folder file name)
  add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz
                     COMMAND gzip -9nc ${file} > ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz
                     DEPENDS ${file} VERBATIM)
  add_custom_target(compressed_${component}_${name} ALL
                    DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
  add_dependencies(packaged compressed_${component}_${name})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz DESTINATION ${folder}
          COMPONENT ${component})
endfunction()

configure_file(debian/changelog ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian @ONLY)
hddtest_compressed(command ${CMAKE_INSTALL_MANDIR}/man1 ${CMAKE_CURRENT_SOURCE_DIR}/hddtest.1
                   hddtest.1)
hddtest_compressed(module ${CMAKE_INSTALL_MANDIR}/man8
                   ${CMAKE_CURRENT_SOURCE_DIR}/hddtest-register.8 hddtest-register.8)
hddtest_compressed(module ${module_documents} ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian
                   changelog.Debian)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${command_documents}
        COMPONENT command)

configure_file(debian/NEWS ${CMAKE_CURRENT_BINARY_DIR}/NEWS.Debian @ONLY)
hddtest_compressed(command ${command_documents} ${CMAKE_CURRENT_BINARY_DIR}/NEWS.Debian NEWS.Debian)

install(FILES debian/copyright ${CMAKE_SOURCE_DIR}/docs/deployment.md
              ${CMAKE_SOURCE_DIR}/docs/faults.md ${CMAKE_SOURCE_DIR}/docs/fleet.md
              ${CMAKE_SOURCE_DIR}/docs/history.md ${CMAKE_SOURCE_DIR}/docs/limits.md
              ${CMAKE_SOURCE_DIR}/docs/tests.md ${CMAKE_SOURCE_DIR}/docs/troubleshooting.md
        DESTINATION ${module_documents} COMPONENT module)
# Links to pages that only the sources have become plain text in the package.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/README.md)
file(READ ${CMAKE_SOURCE_DIR}/README.md readme)
string(REGEX REPLACE "\\[([^]]+)\\]\\((CONTRIBUTING.md|lab/README.md)\\)" "\\1 (\\2 of the sources)"
       readme "${readme}")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/README.md "${readme}")
install(FILES debian/copyright ${CMAKE_CURRENT_BINARY_DIR}/README.md
        DESTINATION ${command_documents} COMPONENT command)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs  # where README.md looks for them
        DESTINATION ${command_documents} COMPONENT command)
install(FILES debian/hddtest-module.logrotate DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/logrotate.d
        RENAME hddtest-module COMPONENT module)
install(FILES debian/hddtest-module.overrides DESTINATION ${overrides} RENAME hddtest-module
        COMPONENT module)
install(FILES debian/hddtest.overrides DESTINATION ${overrides} RENAME hddtest COMPONENT command)
install(FILES systemd/hddtest.service systemd/hddtest.socket systemd/hddtest-run@.service
              systemd/hddtest-run@.timer systemd/hddtest-metrics.service
              systemd/hddtest-metrics.timer
        DESTINATION /usr/lib/systemd/system COMPONENT command)
install(DIRECTORY systemd/hddtest-run@short.timer.d systemd/hddtest-run@long.timer.d
        DESTINATION /usr/lib/systemd/system COMPONENT command)
install(FILES debian/hddtest.default DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default
        RENAME hddtest COMPONENT command)

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  return()
endif()

# cpack packages what was built, and builds nothing itself.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON PARENT_SCOPE)
set(CPACK_VERBATIM_VARIABLES YES)
set(CPACK_GENERATOR DEB)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL module command)
set(CPACK_PACKAGE_CONTACT ${owner})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one of its own
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${release})
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SOURCE hddtest)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(CPACK_DEBIAN_MODULE_PACKAGE_NAME hddtest-module)
set(CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS "smartmontools, hwinfo, python3")
set(CPACK_DEBIAN_MODULE_DESCRIPTION
    "CIM provider module for hard-disk self-tests
The modules that a CIM object manager (sfcb, OpenPegasus) loads through CMPI to
gain the service \"Hard Drive: Self Test\", with the drives that it tests, and
hddtest-register, which makes them known to the object manager.")
set(CPACK_DEBIAN_MODULE_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/module/conffiles
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/module/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/module/prerm
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/module/postrm)

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME hddtest)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "hddtest-module (= ${PROJECT_VERSION}-${release})")
set(CPACK_DEBIAN_COMMAND_PACKAGE_RECOMMENDS "smartmontools, nvme-cli")
set(CPACK_DEBIAN_COMMAND_DESCRIPTION
    "hard-disk self-tests from the command line and over CIM
The command starts the self-tests of ATA, SCSI and NVMe drives, short, long or
conveyance, shows how far they are and what came out, and keeps a history of
them. It holds an object manager of its own, which serves the short test to
WBEM management clients too, where no other one is installed.")
set(CPACK_DEBIAN_COMMAND_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/command/conffiles
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/command/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/command/prerm
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/command/postrm)
include(CPack)
