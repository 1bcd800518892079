# The SDK: cmake --install build/windows --prefix ...
include(CMakePackageConfigHelpers)

if(WIN32)
  install(TARGETS kiv EXPORT kiv RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
  install(TARGETS kivhost RUNTIME DESTINATION bin)
  install(DIRECTORY include/kiv DESTINATION include)
  install(EXPORT kiv NAMESPACE kiv:: FILE kivConfig.cmake DESTINATION lib/cmake/kiv)
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/kivConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/kivConfigVersion.cmake DESTINATION lib/cmake/kiv)
  install(DIRECTORY docs/samples/ DESTINATION share/kiv)
endif()
