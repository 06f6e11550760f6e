# Doubles that a test executable opts in to by linking them. They define symbols that the library
# reaches through the dynamic linker, so they are objects: an archive member could stay out.
add_library(vexathumb_platform_double OBJECT kit/call_journal.cpp kit/platform_double.cpp)
target_include_directories(vexathumb_platform_double
  PUBLIC ${CMAKE_CURRENT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src/platform/include)
target_link_libraries(vexathumb_platform_double PRIVATE vexathumb_warnings vexathumb_sanitizers)

# Needs the platform double's journal beside it.
add_library(vexathumb_libc_double OBJECT kit/libc_double.cpp)
target_include_directories(vexathumb_libc_double PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(vexathumb_libc_double
  PUBLIC ${CMAKE_DL_LIBS}
  PRIVATE vexathumb_warnings vexathumb_sanitizers)
