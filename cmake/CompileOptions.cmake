# INTERFACE targets that every target of this project links: warnings, sanitizers.

add_library(vexathumb_warnings INTERFACE)
target_compile_options(vexathumb_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # Macros of libseccomp are C of a later year than C++17.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-c99-extensions;-Wno-missing-field-initializers>
  $<$<BOOL:${VEXATHUMB_WARNINGS_AS_ERRORS}>:-Werror>
  # What the optimisation makes of a std::optional looks so to some releases of g++.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-error=maybe-uninitialized>)

add_library(vexathumb_sanitizers INTERFACE)
if(VEXATHUMB_SANITIZE)
  target_compile_options(vexathumb_sanitizers INTERFACE
    -fsanitize=${VEXATHUMB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vexathumb_sanitizers INTERFACE -fsanitize=${VEXATHUMB_SANITIZE})
endif()
if(VEXATHUMB_FUZZ)
  target_compile_options(vexathumb_sanitizers INTERFACE -fsanitize=fuzzer-no-link)
endif()

# For the tests themselves. They are watched for wrong addresses and for races as what they test is,
# and without the rest, which would take as long again to compile.
add_library(vexathumb_test_sanitizers INTERFACE)
if(VEXATHUMB_SANITIZE)
  string(REPLACE ",undefined" "" test_sanitizers ${VEXATHUMB_SANITIZE})
  target_compile_options(vexathumb_test_sanitizers INTERFACE
    -fsanitize=${test_sanitizers} -fno-omit-frame-pointer)
  target_compile_definitions(vexathumb_test_sanitizers INTERFACE VEXATHUMB_SANITIZED)
  target_link_options(vexathumb_test_sanitizers INTERFACE -fsanitize=${VEXATHUMB_SANITIZE})
endif()

# Counters lie in the file from the start, so that those of a process count that is killed, or leaves by
# _exit, as most of what is forked here does.
if(VEXATHUMB_COVERAGE)
  set(profile -fprofile-instr-generate=${CMAKE_BINARY_DIR}/profiles/%m%c.profraw)
  target_compile_options(vexathumb_sanitizers INTERFACE
    ${profile} -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(vexathumb_sanitizers INTERFACE ${profile})
  target_link_options(vexathumb_test_sanitizers INTERFACE ${profile})
endif()
