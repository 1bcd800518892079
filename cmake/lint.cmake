# Targets that look at the sources: format-check, format, tidy, cppcheck, and lint for all checks together. Of a
# native build; the tools are Debian's clang-format, clang-tidy, clang-tools and cppcheck.
set(rooms src simulator host)
set(globs "")
foreach(room IN LISTS rooms ITEMS include tests fuzz bench)
  list(APPEND globs ${room}/*.cpp ${room}/*.h)
endforeach()
file(GLOB_RECURSE LINT_ALL CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${globs})
list(FILTER LINT_ALL EXCLUDE REGEX "^tests/package/")

find_program(CLANG_FORMAT clang-format)
find_program(RUN_CLANG_TIDY NAMES run-clang-tidy run-clang-tidy-14)
find_program(CPPCHECK cppcheck)

if(CLANG_FORMAT)
  add_custom_target(format COMMAND ${CLANG_FORMAT} -i ${LINT_ALL} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
  add_custom_target(format-check COMMAND ${CLANG_FORMAT} --dry-run --Werror ${LINT_ALL}
                    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
endif()

if(RUN_CLANG_TIDY)
  list(JOIN rooms "|" pattern)
  add_custom_target(tidy COMMAND ${RUN_CLANG_TIDY} -quiet -p ${PROJECT_BINARY_DIR} -extra-arg=-Wno-unknown-warning-option
                                 "^${PROJECT_SOURCE_DIR}/(${pattern})/.*[.]cpp$"
                    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
endif()

if(CPPCHECK)
  add_custom_target(cppcheck
    COMMAND ${CPPCHECK} --quiet --error-exitcode=1 --std=c++20 --language=c++ --inline-suppr
            --enable=warning,performance,portability --suppress=missingInclude --suppress=passedByValue
            -I include -I . -I src ${rooms}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
endif()

add_custom_target(lint)
foreach(check format-check tidy cppcheck)
  if(TARGET ${check})
    add_dependencies(lint ${check})
  endif()
endforeach()
