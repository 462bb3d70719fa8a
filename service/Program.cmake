# The executable.
add_subdirectory(Program)
add_executable(parlowen-service main.cpp)
target_link_libraries(parlowen-service PRIVATE service_program)
