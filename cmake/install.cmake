# What `cmake --install` puts where, in four components that become the four
# Debian packages (cmake/packaging.cmake):
#   library     the shared library with its SONAME link, LICENSE and NEWS
#               (a backend library built here goes beside it, in this
#               component or one of its own: see packaging.cmake)
#   dev         the public headers, the .so link, ridgex.pc, the CMake package,
#               libridgex(3)
#   tools       the command-line programs and their man pages (a program's own
#               folder installs it, e.g. tools/ridgex installs `ridgex`)
#   simulators  the simulated reader library, backends and scorer, in a folder
#               of their own that no loader searches unless told to
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(RIDGEX_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ridgex)
# Not on the default library search path: the simulated libraries carry the
# real ones' file names and must never be found in their place by accident.
set(RIDGEX_SIMULATORS_DIR ${CMAKE_INSTALL_LIBDIR}/ridgex/simulators)
set(RIDGEX_SIMULATORS_DATA_DIR ${CMAKE_INSTALL_DATADIR}/ridgex/simulators)

# The library. A client of the installed library finds the headers through
# the imported target.
target_include_directories(ridgex INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS ridgex EXPORT ridgexTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev)
# Backends of other makers install themselves into ${CMAKE_INSTALL_LIBDIR},
# beside libridgex.so, under a slot's name (libridgex_ember.so ...), where the
# library's RUNPATH ($ORIGIN) finds them.

# Every public header of include/, whatever their number.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT dev FILES_MATCHING PATTERN "*.h")

# The CMake package: find_package(ridgex 3.2) gives ridgex::ridgex. A library
# of another major version has another SONAME and another interface.
install(EXPORT ridgexTargets NAMESPACE ridgex:: DESTINATION ${RIDGEX_CMAKE_PACKAGE_DIR}
    COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ridgexConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ridgexConfig.cmake INSTALL_DESTINATION ${RIDGEX_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ridgexConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ridgexConfig.cmake ${PROJECT_BINARY_DIR}/ridgexConfigVersion.cmake
    DESTINATION ${RIDGEX_CMAKE_PACKAGE_DIR} COMPONENT dev)

# ridgex.pc names the prefix given at install time (`cmake --install
# --prefix`, or /usr for the Debian packages), not the one configured.
install(CODE "
    set(RIDGEX_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    set(RIDGEX_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
    set(RIDGEX_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
    set(RIDGEX_PC_VERSION \"${PROJECT_VERSION}\")
    configure_file(\"${CMAKE_CURRENT_LIST_DIR}/ridgex.pc.in\" \"${PROJECT_BINARY_DIR}/ridgex.pc\" @ONLY)"
    COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/ridgex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT dev)

install(TARGETS trc3dump RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

# The simulators. The backend's slot copies are separate files on purpose:
# each loads as a module of its own. They are copies of the installed file,
# so they are stripped when it is.
install(TARGETS ridgex_amber TavloApi nex_sdk
    LIBRARY DESTINATION ${RIDGEX_SIMULATORS_DIR} COMPONENT simulators)
install(CODE "
    set(dir \"\${CMAKE_INSTALL_PREFIX}/${RIDGEX_SIMULATORS_DIR}\")
    foreach(slot basalt cobalt dune ember)
        file(INSTALL \"\$ENV{DESTDIR}\${dir}/libridgex_amber.so\" DESTINATION \"\${dir}\"
             RENAME libridgex_\${slot}.so)
    endforeach()"
    COMPONENT simulators)
# The simulated scorer's models. The liveness check reads models beside the
# libridgex.so that it runs as, so it finds these only in a copy of the
# library placed here (README, "Simulated readers").
install(FILES ${PROJECT_SOURCE_DIR}/sim/scorer/models/nex_53ov_23.dat
              ${PROJECT_SOURCE_DIR}/sim/scorer/models/model_2.3_tcss.dat
              ${PROJECT_SOURCE_DIR}/sim/scorer/models/model_2.3_tcsc.dat
    DESTINATION ${RIDGEX_SIMULATORS_DIR} COMPONENT simulators)
# The reader service's unit that makes the built-in backend serve the
# simulated reader library, and the demo's reader configurations.
install(FILES ${PROJECT_SOURCE_DIR}/tools/demo/units/slvhost.service
    DESTINATION ${RIDGEX_SIMULATORS_DATA_DIR}/units COMPONENT simulators)
install(FILES ${PROJECT_SOURCE_DIR}/tools/demo/simulated_readers.conf
              ${PROJECT_SOURCE_DIR}/tools/demo/simulated_reader_library.conf
    DESTINATION ${RIDGEX_SIMULATORS_DATA_DIR} COMPONENT simulators)

include(${CMAKE_CURRENT_LIST_DIR}/manpages.cmake)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NEWS
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)
