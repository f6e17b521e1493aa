# Every target of the project builds with these warnings. CI and scripts/test turn them into
# errors; a packager's or user's build does not, so a new compiler's false positive (GCC 12's
# -Wrestrict inside libstdc++ at -O3) cannot break a Release build.
option(BRELLOW_WERROR "Treat compiler warnings as errors" OFF)
add_library(brellow_warnings INTERFACE)
if(BRELLOW_WERROR)
  target_compile_options(brellow_warnings INTERFACE -Werror)
endif()
target_compile_options(brellow_warnings INTERFACE
  -Wall -Wextra -Wpedantic
  -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference
  -Wimplicit-fallthrough -Wformat=2)
