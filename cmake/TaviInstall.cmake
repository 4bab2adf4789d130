# What `cmake --install` puts where, and the Debian package of it.
#
#   TAVI_PACKAGE_CONTACT  whom the package names as its maintainer
set(TAVI_PACKAGE_CONTACT "tavi maintainers <maintainers@tavi.invalid>"
    CACHE STRING "The Debian package's maintainer, as its control file takes it")

# libbase is outside the folders that the dynamic linker looks into by itself.
set_target_properties(tavi PROPERTIES INSTALL_RPATH ${AndroidBase_LIBRARY_DIR})
install(TARGETS tavi RUNTIME DESTINATION bin)
# Where tavi looks, relative to itself: the same in every prefix.
install(TARGETS audio_compensation_tavi LIBRARY DESTINATION lib/tavi)

set(docs ${PROJECT_SOURCE_DIR}/docs)
set(manual ${PROJECT_BINARY_DIR}/tavi.1.gz)
add_custom_command(
  OUTPUT ${manual}
  COMMAND gzip -9nc ${docs}/tavi.1 > ${manual}
  DEPENDS ${docs}/tavi.1
  VERBATIM)
add_custom_target(tavi_manual ALL DEPENDS ${manual})
install(FILES ${manual} DESTINATION share/man/man1)
install(FILES ${PROJECT_SOURCE_DIR}/tools/tavi/completion.bash
        DESTINATION share/bash-completion/completions RENAME tavi)
file(GLOB papers CONFIGURE_DEPENDS ${docs}/*.md)
install(FILES ${papers} DESTINATION share/doc/tavi)
# The program has the charting library in it.
install(FILES ${TAVI_CHART_JS_LICENCE} DESTINATION share/doc/tavi RENAME copyright.chart.js)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tools/tavi/masks DESTINATION share/tavi)
install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/examples/foldable ${PROJECT_SOURCE_DIR}/examples/measured
  DESTINATION share/tavi/examples
  PATTERN __pycache__ EXCLUDE
  PATTERN *.py
          PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                      WORLD_EXECUTE)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavi)
set(CPACK_PACKAGE_CONTACT ${TAVI_PACKAGE_CONTACT})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "telephony speaker compensation module at a desk")
set(CPACK_PACKAGE_DESCRIPTION
    "Plays host events against the audio extension module for foldable phones in a
simulated host, shows what it sends to the DSP, and judges configurations.
The module for this machine comes with it.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${AndroidBase_LIBRARY_DIR})
# For the script that makes the example's measurements.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS python3)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
include(CPack)
