# Every target of the project builds with these warnings, and a warning fails the build.
add_library(brellow_warnings INTERFACE)
target_compile_options(brellow_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror
  -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference
  -Wimplicit-fallthrough -Wformat=2)
