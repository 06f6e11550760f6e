# INTERFACE targets that every target of this project links: warnings, sanitizers.

add_library(vexathumb_warnings INTERFACE)
target_compile_options(vexathumb_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${VEXATHUMB_WARNINGS_AS_ERRORS}>:-Werror>)

add_library(vexathumb_sanitizers INTERFACE)
if(VEXATHUMB_SANITIZE)
  target_compile_options(vexathumb_sanitizers INTERFACE
    -fsanitize=${VEXATHUMB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vexathumb_sanitizers INTERFACE -fsanitize=${VEXATHUMB_SANITIZE})
endif()
if(VEXATHUMB_FUZZ)
  target_compile_options(vexathumb_sanitizers INTERFACE -fsanitize=fuzzer-no-link)
endif()
