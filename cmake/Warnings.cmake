# parlowen_options: what every target of the project is compiled with. Warnings are errors where the preset says so: a newer compiler's
# never keep anybody from running the program.
option(PARLOWEN_WARNINGS_ARE_ERRORS "Let a warning end the build" OFF)
add_library(parlowen_options INTERFACE)
if(CMAKE_UNITY_BUILD) # sources that are compiled as one shadow each other's names, and look like headers
  target_compile_options(parlowen_options INTERFACE -Wno-subobject-linkage)
else()
  target_compile_options(parlowen_options INTERFACE
    -Wall -Wextra -Wpedantic $<$<BOOL:${PARLOWEN_WARNINGS_ARE_ERRORS}>:-Werror>
    -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-align -Wformat=2)
endif()
target_compile_options(parlowen_options INTERFACE -fno-strict-overflow)
target_compile_definitions(parlowen_options INTERFACE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII)
if(PARLOWEN_SANITIZE)
  target_compile_options(parlowen_options INTERFACE -fsanitize=${PARLOWEN_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(parlowen_options INTERFACE -fsanitize=${PARLOWEN_SANITIZE})
  if(PARLOWEN_SANITIZE MATCHES "undefined")
    target_compile_options(parlowen_options INTERFACE -fno-sanitize-recover=undefined)
    # What clang 14 writes before each function for this check it cannot write before a coroutine's parts.
    target_compile_options(parlowen_options INTERFACE $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
  endif()
  if(PARLOWEN_SANITIZE MATCHES "thread") # it does not know fences, on which Asio's locks do not depend
    target_compile_definitions(parlowen_options INTERFACE BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
  # Sanitized code makes g++ see paths that cannot be taken.
  target_compile_options(parlowen_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
target_link_options(parlowen_options INTERFACE -fuse-ld=lld)
