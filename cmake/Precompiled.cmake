# Precompiled headers, for who wants the programs in the shortest time: preset `run`. The developers' presets go without, so that a
# source that misses an include does not compile there.
option(PARLOWEN_PRECOMPILED_HEADERS "Compile the headers of Qt and Boost once" OFF)

# precompile(name USES libraries... HEADERS headers... DEFINES macros... FOR targets...): compiles the headers once for all sources of
# the targets, with those of the standard library. The compiler refuses them to a source with other macros, so those that only some of
# the targets have are named too, and given to all. Targets that do not exist are passed over.
function(precompile name)
  if(NOT PARLOWEN_PRECOMPILED_HEADERS)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 P "" "" "USES;HEADERS;DEFINES;FOR")
  set(source ${CMAKE_BINARY_DIR}/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "// What the sources that share these headers are compiled with.\n")
  add_library(${name} STATIC ${source})
  set_target_properties(${name} PROPERTIES AUTOMOC OFF)
  target_link_libraries(${name} PRIVATE ${P_USES} parlowen_options)
  target_compile_definitions(${name} PRIVATE ${P_DEFINES})
  target_precompile_headers(${name} PRIVATE ${standard_headers} ${P_HEADERS})
  foreach(target IN LISTS P_FOR)
    if(TARGET ${target})
      target_compile_definitions(${target} PRIVATE ${P_DEFINES})
      target_precompile_headers(${target} REUSE_FROM ${name})
    endif()
  endforeach()
endfunction()

set(standard_headers
  <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <cstdint> <deque> <functional> <map> <memory> <mutex> <optional>
  <set> <shared_mutex> <span> <stdexcept> <string> <string_view> <thread> <tuple> <unordered_map> <utility> <variant> <vector>
  <nlohmann/json.hpp>)
