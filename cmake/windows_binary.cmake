# What the binaries that leave the house have in common: version information, protection, symbols in a file beside them.
set(KIV_COMMIT "" CACHE STRING "The commit that the version information names, where there is no git to ask")
# Only the resources know the commit, so that a new one compiles nothing anew.
add_custom_target(kiv_commit BYPRODUCTS ${PROJECT_BINARY_DIR}/commit.h
  COMMAND ${CMAKE_COMMAND} -D SOURCE=${PROJECT_SOURCE_DIR} -D OUT=${PROJECT_BINARY_DIR}/commit.h -D COMMIT=${KIV_COMMIT}
          -P ${PROJECT_SOURCE_DIR}/cmake/commit.cmake VERBATIM)

# kiv_windows_binary(TARGET VFT_DLL|VFT_APP)
function(kiv_windows_binary target KIV_FILE_TYPE)
  set(KIV_INTERNAL_NAME ${target})
  set(KIV_FILE_NAME ${target}.exe)
  if(KIV_FILE_TYPE STREQUAL "VFT_DLL")
    set(KIV_FILE_NAME ${target}.dll)
  endif()
  set(resource ${PROJECT_BINARY_DIR}/${target}_version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
  target_sources(${target} PRIVATE ${resource})
  set_source_files_properties(${resource} PROPERTIES OBJECT_DEPENDS ${PROJECT_BINARY_DIR}/commit.h)
  add_dependencies(${target} kiv_commit)

  target_link_options(${target} PRIVATE -Wl,--dynamicbase,--nxcompat,--high-entropy-va,--no-insert-timestamp)
  # Without a date objcopy writes the present one into the header.
  set(objcopy ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY})
  set(file $<TARGET_FILE_NAME:${target}>)
  add_custom_command(TARGET ${target} POST_BUILD WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
    COMMAND ${objcopy} --only-keep-debug ${file} ${file}.debug
    COMMAND ${objcopy} --strip-all --add-gnu-debuglink=${file}.debug ${file} VERBATIM)
endfunction()
