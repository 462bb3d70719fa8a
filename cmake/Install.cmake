# What is installed where, and the Debian packages that `cpack` makes of it: parlowen, and parlowen-recogniser with the speech
# library and the models, whose licences are others. Icons are inside the program.
include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME parlowen)

# The library finds its neighbour beside itself, and the program all of it.
set(recogniser_folder lib/parlowen/recogniser)
install(TARGETS parlowen-recogniser RUNTIME DESTINATION ${recogniser_folder} COMPONENT recogniser)
install(DIRECTORY ${PARLOWEN_RECOGNISER_FILES}/ DESTINATION ${recogniser_folder} COMPONENT recogniser OPTIONAL
  FILES_MATCHING PATTERN "*.onnx" PATTERN "tokens.txt" PATTERN "libonnxruntime.so" PATTERN "libsherpa-onnx-c-api.so")
# Stripping goes by targets alone, and the library is none.
install(CODE "
  if(CMAKE_INSTALL_DO_STRIP)
    file(GLOB library \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${recogniser_folder}/*.so\")
    execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-unneeded \${library})
  endif()" COMPONENT recogniser)
install(FILES packaging/recogniser/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/parlowen-recogniser COMPONENT recogniser)

# The captcha's plug-in, in a package of its own: it alone needs the web engine.
if(TARGET captcha_web)
  install(TARGETS captcha_web LIBRARY DESTINATION lib/parlowen/captcha COMPONENT captcha)
  install(FILES packaging/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/parlowen-captcha COMPONENT captcha)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/parlowen-captcha COMPONENT captcha)
endif()

install(TARGETS parlowen parlowen-service RUNTIME)
install(DIRECTORY resources/sample-interview DESTINATION ${CMAKE_INSTALL_DATADIR}/parlowen FILES_MATCHING PATTERN "*.wav" PATTERN "*.txt")
install(FILES README.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md" PATTERN screenshots EXCLUDE)
file(GLOB guide_pictures CONFIGURE_DEPENDS docs/screenshots/guide-*.png
  docs/screenshots/session-window-answers-by-themselves-[89].png)
install(FILES ${guide_pictures} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs/screenshots)
install(FILES packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

# Whoever builds a release says who answers for it, as Debian's own tools ask for it.
set(maintainer "Parlowen maintainers <maintainers@localhost>")
if(DEFINED ENV{DEBFULLNAME} AND DEFINED ENV{DEBEMAIL})
  set(maintainer "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()
configure_file(packaging/changelog changelog @ONLY)
execute_process(COMMAND gzip -9nc ${CMAKE_CURRENT_BINARY_DIR}/changelog OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/parlowen-recogniser COMPONENT recogniser)
include(Desktop)

# The packages of the part [run time].
function(read_run_time_packages result)
  file(STRINGS packaging/debian-packages.txt lines)
  set(place -1)
  foreach(line IN LISTS lines)
    if(line MATCHES "^\\[")
      string(FIND "${line}" "[run time]" place)
    elseif(place EQUAL 0 AND line MATCHES "^[^#]")
      list(APPEND packages ${line})
    endif()
  endforeach()
  list(JOIN packages ", " joined)
  set(${result} "${joined}" PARENT_SCOPE)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_PACKAGE_VENDOR Parlowen)
# The first line is the summary.
set(CPACK_COMPONENT_PARLOWEN_DESCRIPTION
"Desktop interview assistant with a backend of its own
Listens to an interview, shows what is said, and suggests an answer for each
question. Comes with the backend, parlowen-service.")
set(CPACK_COMPONENT_RECOGNISER_DESCRIPTION
"Offline speech recognition for Parlowen
Turns English speech into text for parlowen-service: the program, the library
sherpa-onnx, and the models Moonshine (base and tiny) and Silero VAD.")
set(CPACK_COMPONENT_CAPTCHA_DESCRIPTION
"Sign-in by SMS code for Parlowen
The page that has to be solved before a code is sent, shown by Qt WebEngine.")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL parlowen recogniser)
if(TARGET captcha_web)
  list(APPEND CPACK_COMPONENTS_ALL captcha)
endif()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PARLOWEN_RECOGNISER_FILES})
set(CPACK_DEBIAN_PARLOWEN_PACKAGE_NAME parlowen)
read_run_time_packages(CPACK_DEBIAN_PARLOWEN_PACKAGE_DEPENDS)
set(CPACK_DEBIAN_PARLOWEN_PACKAGE_RECOMMENDS "parlowen-recogniser (= ${PROJECT_VERSION}), parlowen-captcha (= ${PROJECT_VERSION}), pipewire-pulse | pulseaudio, qt6-xdgdesktopportal-platformtheme")
set(CPACK_DEBIAN_RECOGNISER_PACKAGE_NAME parlowen-recogniser)
set(CPACK_DEBIAN_CAPTCHA_PACKAGE_NAME parlowen-captcha)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
