# Debian packages, one per install component (cmake/install.cmake):
#   cpack --config BUILD/CPackConfig.cmake -B OUTPUT
# gives libridgex3, libridgex-dev, ridgex-tools and ridgex-simulators, each
# VERSION-1_ARCH.deb, with their dependencies on the C and C++ runtimes taken
# from the ELF files (dpkg-shlibdeps, Debian package dpkg-dev).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ridgex)
set(CPACK_PACKAGE_VENDOR libridgex)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libridgex maintainers <maintainers@users.noreply.c-seed-9b60de95.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
# The libfprint backend (libridgex_ember.so beside libridgex.so) is a
# package of its own, so that libridgex3 does not depend on libfprint.
set(CPACK_COMPONENTS_ALL library dev tools simulators)
if(TARGET ridgex_fprint)
    list(APPEND CPACK_COMPONENTS_ALL fprint)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A program that links libridgex.so.3 is packaged before the library is
# installed anywhere dpkg-shlibdeps looks; the dependency on libridgex3 is
# then written out below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(ridgex_deb_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libridgex${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# A shlibs file for the versioned library (the simulators have no SONAME
# version and get none), so that programs packaged elsewhere depend on it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The loader cache's refresh: the ldconfig trigger on a system, and the
# scripts for a root that dpkg installs into without chroot, where no
# trigger runs.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers
                                               ${CMAKE_CURRENT_LIST_DIR}/debian/postinst
                                               ${CMAKE_CURRENT_LIST_DIR}/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "fingerprint reader access for Linux
libridgex enumerates fingerprint readers, opens them, captures or streams
fingerprint images (also as ANSI/INCITS 381 and ISO/IEC 19794-4 records),
drives their LEDs and, for some readers, checks a capture for liveness.
It drives a built-in backend and up to five backend libraries of other
makers, which install beside it as libridgex_<slot>.so.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libridgex-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libridgex${PROJECT_VERSION_MAJOR} (= ${ridgex_deb_version})")
set(CPACK_COMPONENT_DEV_DESCRIPTION "fingerprint reader access for Linux - development files
The C header, the pkg-config file (ridgex), the CMake package
(find_package(ridgex), target ridgex::ridgex) and libridgex(3), for
programs that use libridgex.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ridgex-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libridgex${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "fingerprint reader access for Linux - command-line tools
ridgex lists the fingerprint readers that libridgex finds, shows what they
can do, captures and streams images and switches tracing; trc3dump prints
the library's enciphered trace files.")

set(CPACK_DEBIAN_SIMULATORS_PACKAGE_NAME ridgex-simulators)
set(CPACK_DEBIAN_SIMULATORS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_SIMULATORS_PACKAGE_DEPENDS "libridgex${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_SIMULATORS_DESCRIPTION "fingerprint reader access for Linux - simulated readers
Simulated reader library, backend libraries and liveness scorer, for
trying and testing libridgex programs without hardware. They lie in
/usr/lib/.../ridgex/simulators, which the loader does not search unless
LD_LIBRARY_PATH names it, so they never stand in for real backends.")

set(CPACK_DEBIAN_FPRINT_PACKAGE_NAME ridgex-fprint)
set(CPACK_DEBIAN_FPRINT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FPRINT_PACKAGE_DEPENDS "libridgex${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_FPRINT_DESCRIPTION "fingerprint reader access for Linux - readers through libfprint
The backend that gives libridgex every fingerprint reader libfprint can
drive and that can capture images, in the last backend slot
(libridgex_ember.so), and ridgex-virtual-finger, which puts a finger on
libfprint's virtual image reader for trying programs without hardware.")

include(CPack)
