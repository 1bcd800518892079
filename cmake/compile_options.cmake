# What every target of this project is compiled with.
add_library(kiv_options INTERFACE)
target_compile_options(kiv_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${PROJECT_BINARY_DIR}/=build/")
# g++ 12 sees overlaps in std::string that are not there (its bug 105651).
target_compile_options(kiv_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# clang counts this in with -Wconversion, g++ does not.
target_compile_options(kiv_options INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)

if(KIV_SANITIZE)
  # Line numbers without variables: what a sanitizer's report needs, at half the build time.
  target_compile_options(kiv_options INTERFACE -g1 -fsanitize=${KIV_SANITIZE} -fno-sanitize-recover=all
                                               -fno-omit-frame-pointer)
  target_link_options(kiv_options INTERFACE -fsanitize=${KIV_SANITIZE})
endif()
# For tests, to be linked after the above. Optimising GoogleTest's templates, or looking for undefined behaviour in them,
# would double the build time and buy nothing.
add_library(kiv_test_options INTERFACE)
target_compile_options(kiv_test_options INTERFACE -O0)
if(KIV_SANITIZE)
  target_compile_options(kiv_test_options INTERFACE -fno-sanitize=undefined)
endif()
if(KIV_COVERAGE)
  target_compile_options(kiv_options INTERFACE --coverage -O0)
  target_link_options(kiv_options INTERFACE --coverage)
endif()
if(WIN32)
  # Windows 7 is the oldest release served; its declarations are enough.
  target_compile_definitions(kiv_options INTERFACE _WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
  target_compile_options(kiv_options INTERFACE -ffunction-sections -fdata-sections)
  # Line numbers for what leaves the house, without this machine's folders. The tests stay in it.
  set(shipped $<NOT:$<STREQUAL:$<TARGET_PROPERTY:NAME>,kiv_tests>>)
  target_compile_options(kiv_options INTERFACE $<${shipped}:-g1> $<${shipped}:-fdebug-prefix-map=${PROJECT_BINARY_DIR}=build>)
  target_link_options(kiv_options INTERFACE -static -Wl,--gc-sections)
endif()
