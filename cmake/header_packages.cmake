# Debian's packages of headers, for both targets. Each is reached through a link to its own folder: the cross
# compiler must not see the rest of /usr/include.
function(kiv_header_package name folder)
  set(links ${PROJECT_BINARY_DIR}/packages/${name})
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: run scripts/install-packages")
  endif()
  file(MAKE_DIRECTORY ${links})
  file(CREATE_LINK /usr/include/${folder} ${links}/${folder} SYMBOLIC)
  add_library(${name} INTERFACE)
  target_include_directories(${name} SYSTEM INTERFACE ${links})
endfunction()

kiv_header_package(cli11 CLI)
kiv_header_package(fmt fmt)
kiv_header_package(nlohmann_json nlohmann)
