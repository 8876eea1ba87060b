# The process, pipe, environment and handle functions with what they need, for the programs
# that call them directly (tests, benchmarks) besides the library.
set(VKL_PROCESS_SOURCES command_line.cpp environment.cpp exec_state.cpp handles.cpp
    last_error.cpp named_mutex.cpp os_process.cpp process.cpp)
list(TRANSFORM VKL_PROCESS_SOURCES PREPEND ${CMAKE_SOURCE_DIR}/system/)
