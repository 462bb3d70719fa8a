# Where the recogniser's library and models lie on this machine: fetched once by packaging/recogniser/fetch.py, which works the
# folder out in the same way, and linked into the build tree. Without them the service has no recogniser, and all else works.
set(recogniser_list ${CMAKE_SOURCE_DIR}/packaging/recogniser/files.json)
file(SHA256 ${recogniser_list} recogniser_version)
string(SUBSTRING ${recogniser_version} 0 12 recogniser_version)
set(recogniser_cache $ENV{XDG_CACHE_HOME})
if(NOT recogniser_cache)
  set(recogniser_cache $ENV{HOME}/.cache)
endif()
set(PARLOWEN_RECOGNISER_FILES ${recogniser_cache}/parlowen/recogniser-${recogniser_version})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${recogniser_list})

set(recogniser_link ${CMAKE_BINARY_DIR}/lib/parlowen/recogniser)
if(IS_SYMLINK ${CMAKE_BINARY_DIR}/lib/parlowen) # of a build tree from before the folder had two parts
  file(REMOVE ${CMAKE_BINARY_DIR}/lib/parlowen)
endif()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/lib/parlowen)
file(REMOVE ${recogniser_link})
file(CREATE_LINK ${PARLOWEN_RECOGNISER_FILES} ${recogniser_link} SYMBOLIC)
if(NOT EXISTS ${recogniser_link}/silero_vad.onnx)
  message(WARNING "The recogniser's files are missing (./dev setup fetches them): speech will not be recognised.")
endif()
