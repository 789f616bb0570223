include(CMakePackageConfigHelpers)

install(TARGETS KestrelPlatform KestrelObjectStore KestrelModel KestrelDatabase
        EXPORT KestrelDatabaseTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(KESTREL_BUILD_TOOL)
  install(TARGETS kestrel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
foreach(dir KestrelPlatform KestrelModel KestrelDatabase)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${dir} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
          FILES_MATCHING PATTERN "*.h")
endforeach()
install(DIRECTORY ${PROJECT_BINARY_DIR}/generated/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KestrelDatabase)
install(EXPORT KestrelDatabaseTargets NAMESPACE Kestrel:: DESTINATION ${config_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KestrelDatabaseConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KestrelDatabaseConfig.cmake INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KestrelDatabaseConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KestrelDatabaseConfig.cmake
              ${PROJECT_BINARY_DIR}/KestrelDatabaseConfigVersion.cmake
        DESTINATION ${config_dir})
