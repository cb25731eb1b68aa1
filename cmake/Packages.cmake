# Debian packages, one for each component: cpack -G DEB --config build/release/CPackConfig.cmake
set(RHO_MAINTAINER "The maintainers of rho <rho@lists.example.org>")
set(CPACK_PACKAGE_NAME rho)
set(CPACK_PACKAGE_VENDOR "The maintainers of rho")
set(CPACK_PACKAGE_CONTACT ${RHO_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${RHO_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# package(COMPONENT NAME SECTION SUMMARY DEPENDS DESCRIPTION): the package of a component, with the two files that each has.
function(package component name section summary depends description)
  string(TOUPPER ${component} key)
  foreach(setting
      "DEBIAN_${key}_PACKAGE_NAME|${name}" "DEBIAN_${key}_PACKAGE_SECTION|${section}"
      "DEBIAN_${key}_PACKAGE_DEPENDS|${depends}" "COMPONENT_${key}_DESCRIPTION|${summary}\n${description}"
      "DEBIAN_${key}_PACKAGE_SHLIBDEPS|ON")
    string(REPLACE "|" ";" setting "${setting}")
    list(POP_FRONT setting variable)
    set(CPACK_${variable} "${setting}" PARENT_SCOPE)
  endforeach()
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  install(FILES cmake/package/copyright ${CMAKE_BINARY_DIR}/package/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endfunction()

configure_file(cmake/package/changelog.in ${CMAKE_BINARY_DIR}/package/changelog @ONLY)
execute_process(COMMAND gzip --best --no-name --keep --force ${CMAKE_BINARY_DIR}/package/changelog)

package(plugin rho-plugin-pcm sound "Linear PCM encoder module for media hosts" ""
  "A module that media-encoding hosts load to offer Linear PCM. It cuts\ndecoded audio into packets of one video-frame period and leaves the\nsamples as they are.")
set(dev_depends uuid-dev)
if(RHO_HOST)
  # Which package programs depend on that link the library, and the trigger by which the loader learns of it.
  file(WRITE ${CMAKE_BINARY_DIR}/package/shlibs
    "librho ${PROJECT_VERSION_MAJOR} librho${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})\n")
  file(WRITE ${CMAKE_BINARY_DIR}/package/triggers "activate-noawait ldconfig\n")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${CMAKE_BINARY_DIR}/package/shlibs ${CMAKE_BINARY_DIR}/package/triggers)
  string(PREPEND dev_depends "librho${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), ")
  package(library librho${PROJECT_VERSION_MAJOR} libs "library for hosts of audio-encoder modules" ""
    "Finds encoder modules, describes them in a process of their own,\nchanges their settings and encodes with them.")
  package(tools rho-tools sound "encode sound files with audio-encoder modules" "rho-plugin-pcm, libsoxr0"
    "rhohost encodes sound files into Matroska files, describes encoder\nmodules and their settings, and checks modules against what hosts count\non.")
endif()
if(TARGET gstrho)
  package(gstreamer gstreamer1.0-rho libs "GStreamer elements for audio-encoder modules"
    "librho${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})"
    "Each encoder module becomes an element, its settings become properties, and\neach of its packets becomes a buffer.")
endif()
package(dev rho-dev libdevel "headers and libraries for audio-encoder modules and their hosts" "${dev_depends}"
  "The plug-in interface, the settings model, the toolbox and the library for\nhosts, with a CMake package and pkg-config files.")
include(CPack)
