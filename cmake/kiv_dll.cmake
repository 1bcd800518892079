# The shipped library: one DLL that needs nothing but Windows, with the same bytes for the same commit.
add_library(kiv SHARED ${KIV_SOURCES})
kiv_windows_binary(kiv VFT_DLL)
set_target_properties(kiv PROPERTIES PREFIX "" IMPORT_PREFIX "lib")
target_compile_definitions(kiv PRIVATE KIV_BUILDING_DLL)
# The library waits for devices most of the time: small is worth more than fast.
target_compile_options(kiv PRIVATE -Os)
target_link_libraries(kiv PRIVATE setupapi advapi32)
target_link_options(kiv PRIVATE -Wl,--output-def,${PROJECT_BINARY_DIR}/kiv.def)
# What nobody catches ends the process without a text: to spell the names of exceptions would take a tenth of the DLL.
target_link_options(kiv PRIVATE -Wl,--defsym,_ZN9__gnu_cxx27__verbose_terminate_handlerEv=abort)
# It carries the C++ library of the compiler's other thread model. With POSIX threads the pool from which exceptions are
# thrown when memory has run out sits behind a mutex that takes memory itself, and the process ends in an endless
# recursion. All else is built with POSIX threads, which GoogleTest needs; the classes look the same to both.
execute_process(COMMAND x86_64-w64-mingw32-g++-win32 -print-libgcc-file-name
                OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET runtime PARENT_PATH runtime)
target_compile_options(kiv PRIVATE -nostdinc++ "SHELL:-isystem ${runtime}/include/c++"
                                   "SHELL:-isystem ${runtime}/include/c++/x86_64-w64-mingw32")
target_link_options(kiv PRIVATE -B${runtime}/)

# The import library for Microsoft's linker and lld-link. It holds the undecorated names only: the decorated ones mean
# nothing to another compiler.
find_program(LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14)
if(LLVM_DLLTOOL)
  set(plain_def ${PROJECT_BINARY_DIR}/plain/kiv.def)
  add_custom_command(TARGET kiv POST_BUILD
    COMMAND ${CMAKE_COMMAND} -D DEF=${PROJECT_BINARY_DIR}/kiv.def -D OUT=${plain_def}
            -P ${PROJECT_SOURCE_DIR}/cmake/plain_exports.cmake
    COMMAND ${LLVM_DLLTOOL} -m i386:x86-64 -d ${plain_def} -l ${PROJECT_BINARY_DIR}/kiv.lib
    BYPRODUCTS ${plain_def} ${PROJECT_BINARY_DIR}/kiv.lib VERBATIM)
endif()
