# Documents beside the programs, and Debian packages: vexolan, vexolan-mpi where MPI was found,
# python3-vexolan where Python was, and liborven-dev with the event library. "cmake --workflow --preset package" makes them;
# scripts/try_package.sh tries them. Flags in that preset are for lintian hardening-no-bindnow and
# hardening-no-fortify-functions.

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
# lintian extra-license-file: of no component that is packaged.
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT licence)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT "the vexolan authors <authors@vexolan.invalid>"
    CACHE STRING "Maintainer of packages: name and mail address of who hands them out")
set(CPACK_STRIP_FILES ON)  # lintian unstripped-binary-or-object
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS  # lintian non-standard-dir-perm, at any umask
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL programs development)
if(TARGET vexolan-mpi)
    list(APPEND CPACK_COMPONENTS_ALL mpi)
endif()
if(TARGET vexolan_python)
    list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)  # lintian control-file-has-bad-permissions

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME vexolan)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS python3)  # lintian python3-script-but-no-python3-dep
# For vexolan-plot alone, which says so itself where it is missing.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS python3-matplotlib)
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "images from recordings of an event-mode camera
vexolan counts the events of .orvenevent files in TIFF images of 32-bit
counts: integrated over time, per time bin, per time since a trigger pulse,
or per trigger interval. Its companions say what is in a recording, draw it,
and simulate recordings to try it on.")

set(CPACK_DEBIAN_MPI_PACKAGE_NAME vexolan-mpi)
set(CPACK_DEBIAN_MPI_PACKAGE_SECTION science)
set(CPACK_DEBIAN_MPI_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_MPI_PACKAGE_DEPENDS openmpi-bin)  # mpirun of the same MPI as the libraries
set(CPACK_DEBIAN_MPI_PACKAGE_SUGGESTS vexolan)  # for its companions and documents
set(CPACK_DEBIAN_MPI_DESCRIPTION "images from recordings of an event-mode camera, on a cluster
vexolan-mpi makes the images that vexolan makes, with the same options, on
several machines: mpirun starts it on each of them, and all count parts of
one recording.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vexolan)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
if(TARGET vexolan_python)  # the module is for one version of Python
    math(EXPR next_minor "${Python_VERSION_MINOR} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.${Python_VERSION_MINOR}~), \
python3 (<< 3.${next_minor}~), python3-numpy")
endif()
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/python/debian/postinst
    ${PROJECT_SOURCE_DIR}/python/debian/prerm)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "images from recordings of an event-mode camera, in Python
The module vexolan opens recordings and counts their events in images, as
numpy arrays. It counts as the program vexolan does, on all cores.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborven-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "header-only library that reads .orvenevent files
C++20 headers that read and check the event files of an event-mode camera,
with files for CMake and pkg-config. They need nothing but the system.")

# lintian no-copyright-file, no-changelog
string(TIMESTAMP changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/debian_changelog.in debian_changelog @ONLY)
# lintian changelog-not-compressed-with-max-compression, package-contains-timestamped-gzip
execute_process(COMMAND gzip -9nc ${PROJECT_BINARY_DIR}/debian_changelog
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz)
foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} prefix)
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${prefix}_PACKAGE_NAME})
    install(FILES LICENSE DESTINATION ${folder} RENAME copyright
        COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${folder}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
