# What `cmake --install BUILD --prefix PREFIX` installs, and where. The result may be moved as a whole: every path in it is
# relative. A component for each package: the program, the decoder's library, and what is needed to build with the libraries.
include(CMakePackageConfigHelpers)

# The program finds the platform library, and the platform library the module and its other libraries (host/shared_library.h).
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE libraries)
set_target_properties(qorstat PROPERTIES INSTALL_RPATH $ORIGIN/${libraries})
# For hosts other than the program, which has loaded the platform library already.
set_target_properties(OndreQORHIDStatistics PROPERTIES INSTALL_RPATH $ORIGIN/..)

install(TARGETS qorstat RUNTIME COMPONENT qorstat)
install(TARGETS OndreQORHIDStatistics LIBRARY DESTINATION ${QOR_MODULE_FOLDER} COMPONENT qorstat)
target_include_directories(qorplatform INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qorstat>)
set_target_properties(qorplatform PROPERTIES EXPORT_NAME platform)
target_include_directories(qordecoder_library INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(qordecoder_library PROPERTIES EXPORT_NAME decoder)
# Without a library, for those who bring their own platform.
add_library(qorplatform_headers INTERFACE)
target_include_directories(qorplatform_headers INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qorstat>)
set_target_properties(qorplatform_headers PROPERTIES EXPORT_NAME platform_headers)
install(TARGETS qorplatform_headers EXPORT qorstatTargets COMPONENT development)
install(TARGETS qorplatform EXPORT qorstatTargets LIBRARY COMPONENT qorstat NAMELINK_COMPONENT development)
install(TARGETS qordecoder_library EXPORT qorstatTargets LIBRARY COMPONENT libqordecoder NAMELINK_COMPONENT development)

# Headers: the C interface of the decoder; the platform's operations, the module's ABI and its entry points for reports.
install(FILES decoder/library/qordecoder.h TYPE INCLUDE COMPONENT development)
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/qorstat)
install(DIRECTORY platform DESTINATION ${headers} COMPONENT development FILES_MATCHING PATTERN *.h)
install(FILES plugin/OndreQORHIDStatisticsInterface.h DESTINATION ${headers}/plugin COMPONENT development)
install(FILES decoder/ProfileDescription.h DESTINATION ${headers}/decoder COMPONENT development)

# The contract of every platform as sources, since a port brings its compiler and its contract::port().
set(contract ${CMAKE_INSTALL_DATADIR}/qorstat/tests/contract)
install(DIRECTORY tests/contract/ DESTINATION ${contract} COMPONENT development FILES_MATCHING PATTERN *_contract_test.cpp
        PATTERN *.h)
install(FILES qor/interfaces.h DESTINATION ${CMAKE_INSTALL_DATADIR}/qorstat/qor COMPONENT development)
install(FILES tests/module/platform_imports.txt DESTINATION ${CMAKE_INSTALL_DATADIR}/qorstat COMPONENT development)
set(contract_root ${CMAKE_INSTALL_DATADIR}/qorstat)

# For CMake: the targets qorstat::decoder, qorstat::platform and qorstat::platform_headers.
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/qorstat)
install(EXPORT qorstatTargets NAMESPACE qorstat:: DESTINATION ${package} COMPONENT development)
configure_package_config_file(cmake/qorstatConfig.cmake.in ${CMAKE_BINARY_DIR}/qorstatConfig.cmake INSTALL_DESTINATION ${package}
                              PATH_VARS QOR_MODULE_FOLDER contract_root)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qorstatConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qorstatConfig.cmake ${CMAKE_BINARY_DIR}/qorstatConfigVersion.cmake DESTINATION ${package}
        COMPONENT development)

# For pkg-config.
set(pkgconfig ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig} OUTPUT_VARIABLE prefix)
configure_file(cmake/qordecoder.pc.in ${CMAKE_BINARY_DIR}/qordecoder.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qordecoder.pc DESTINATION ${pkgconfig} COMPONENT development)

# Documents and examples.
install(FILES README.md TYPE DOC COMPONENT qorstat)
install(DIRECTORY docs TYPE DOC COMPONENT qorstat)
install(DIRECTORY examples TYPE DOC COMPONENT qorstat USE_SOURCE_PERMISSIONS PATTERN examples/CMakeLists.txt EXCLUDE PATTERN library EXCLUDE)
install(DIRECTORY examples/library DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
