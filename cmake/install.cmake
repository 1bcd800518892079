# The package as it is unpacked: cmake --install build/windows --prefix ... lays it out, scripts/package adds the API
# reference and makes the zip.
include(CMakePackageConfigHelpers)

if(WIN32)
  install(TARGETS kiv RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
  install(TARGETS kivhost RUNTIME DESTINATION bin)
  install(DIRECTORY include/kiv DESTINATION include)
  if(LLVM_DLLTOOL)
    install(FILES ${PROJECT_BINARY_DIR}/kiv.lib ${PROJECT_BINARY_DIR}/plain/kiv.def DESTINATION lib)
  endif()
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/kivConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(FILES cmake/kivConfig.cmake ${PROJECT_BINARY_DIR}/kivConfigVersion.cmake DESTINATION lib/cmake/kiv)
  install(FILES docs/host.md docs/kivhost.schema.json docs/fleet.md docs/embedding.md docs/recordings.md docs/sdk.md docs/rooms.md
    DESTINATION docs)
  install(DIRECTORY docs/samples/ DESTINATION samples)
  install(FILES bindings/python/kiv.py DESTINATION samples/python)
  # Not what a roll-out from this tree has left.
  install(DIRECTORY fleet/ansible DESTINATION fleet PATTERN ansible/fleet EXCLUDE PATTERN __pycache__ EXCLUDE)
  install(FILES CHANGELOG.md DESTINATION .)
endif()
