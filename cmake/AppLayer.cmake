# app_layer(name DIR folder SOURCES ... [USES layers...] [LINKS libraries...] [PRIVATE libraries...])
#
# One library for one layer. Each header of SOURCES is exported as <folder/Header.h> through an include directory that
# holds this layer's headers alone, so a header of a layer that is not in USES (or used by one that is) does not compile.
# LINKS are libraries that the layer's headers show, PRIVATE those that only its sources know. The layers and
# what each may use are also written to layers.txt in the build tree, which the include check reads.
function(app_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 LAYER "" "DIR" "SOURCES;USES;LINKS;PRIVATE")
  if(LAYER_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "app_layer(${name}): unknown arguments ${LAYER_UNPARSED_ARGUMENTS}")
  endif()

  add_library(${name} STATIC ${LAYER_SOURCES})
  set(include_root ${CMAKE_BINARY_DIR}/include/${name})
  file(REMOVE_RECURSE ${include_root}) # headers that have left the layer
  file(MAKE_DIRECTORY ${include_root}/${LAYER_DIR})
  foreach(source IN LISTS LAYER_SOURCES)
    if(source MATCHES "\\.h$")
      get_filename_component(leaf ${source} NAME)
      file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${source} ${include_root}/${LAYER_DIR}/${leaf} SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(${name} PUBLIC ${include_root})
  target_link_libraries(${name} PUBLIC ${LAYER_USES} ${LAYER_LINKS} PRIVATE ${LAYER_PRIVATE} parlowen_options)

  file(RELATIVE_PATH folder ${CMAKE_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  list(JOIN LAYER_USES "," uses)
  list(JOIN LAYER_LINKS "," links)
  list(JOIN LAYER_PRIVATE "," private)
  set_property(GLOBAL APPEND PROPERTY PARLOWEN_LAYERS "${name}|${folder}|${LAYER_DIR}|${uses}|${links},${private}")
endfunction()

# Writes the table of layers once all of them are known.
function(write_layer_table)
  get_property(layers GLOBAL PROPERTY PARLOWEN_LAYERS)
  list(JOIN layers "\n" text)
  file(WRITE ${CMAKE_BINARY_DIR}/layers.txt "${text}\n")
endfunction()
