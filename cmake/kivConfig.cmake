# kiv::kiv: kiv.dll with the import library that the compiler takes.
get_filename_component(_kiv_prefix ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
set(_kiv_import_library libkiv.dll.a)
set(_kiv_microsoft FALSE)
if(MSVC OR "${CMAKE_C_SIMULATE_ID}" STREQUAL "MSVC" OR "${CMAKE_CXX_SIMULATE_ID}" STREQUAL "MSVC")
  set(_kiv_import_library kiv.lib)
  set(_kiv_microsoft TRUE)
endif()
get_property(_kiv_languages GLOBAL PROPERTY ENABLED_LANGUAGES)

if(NOT TARGET kiv::kiv)
  add_library(kiv::kiv SHARED IMPORTED)
endif()
set_target_properties(kiv::kiv PROPERTIES
  IMPORTED_LOCATION ${_kiv_prefix}/bin/kiv.dll
  IMPORTED_IMPLIB ${_kiv_prefix}/lib/${_kiv_import_library}
  INTERFACE_INCLUDE_DIRECTORIES ${_kiv_prefix}/include)
# The headers of the classes, which Microsoft's compilers do not have, need it.
if(CXX IN_LIST _kiv_languages AND NOT _kiv_microsoft)
  set_target_properties(kiv::kiv PROPERTIES INTERFACE_COMPILE_FEATURES cxx_std_20)
endif()
