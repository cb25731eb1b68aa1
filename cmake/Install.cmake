# The installed files. Their components "tools", "plugin", "library", "gstreamer" and "dev" become Debian packages.
# Programs and libraries find each other by their own location, so that the installation may be moved. The files for
# pkg-config have the prefix that "cmake --install" is given.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(plugin_dir ${CMAKE_INSTALL_LIBDIR}/rho/plugins)
set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Rho)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/rho)

install(TARGETS PCMPlugin
  LIBRARY DESTINATION ${plugin_dir}/PCMPlugin.bundle/Contents/${machine} COMPONENT plugin)

# The headers keep their paths below one folder. Those in Internal are for this tree alone.
file(GLOB_RECURSE installed_headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS RHOAPI/*.h Toolbox/*.h)
list(FILTER installed_headers EXCLUDE REGEX /Internal/)
foreach(header IN LISTS installed_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${header_dir}/${folder} COMPONENT dev)
endforeach()

# Rho::api is the headers, Rho::toolbox and Rho::plugin what a module is made of.
add_library(rho_api INTERFACE)
target_include_directories(rho_api INTERFACE $<INSTALL_INTERFACE:${header_dir}>)
target_compile_features(rho_api INTERFACE cxx_std_17)
add_library(rho_toolbox STATIC $<TARGET_OBJECTS:toolbox> $<TARGET_OBJECTS:packets>)
target_link_libraries(rho_toolbox PUBLIC rho_api PRIVATE $<$<BOOL:${RHO_LIBUUID}>:$<INSTALL_INTERFACE:uuid>> ${CMAKE_DL_LIBS})
add_library(rho_plugin STATIC $<TARGET_OBJECTS:codec>)
target_link_libraries(rho_plugin PUBLIC rho_toolbox)
foreach(name api toolbox plugin)
  set_target_properties(rho_${name} PROPERTIES EXPORT_NAME ${name} OUTPUT_NAME rho_${name})
endforeach()
install(TARGETS rho_api rho_toolbox rho_plugin EXPORT RhoTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(EXPORT RhoTargets NAMESPACE Rho:: DESTINATION ${cmake_dir} COMPONENT dev)

configure_package_config_file(cmake/package/RhoConfig.cmake.in ${CMAKE_BINARY_DIR}/package/RhoConfig.cmake
  INSTALL_DESTINATION ${cmake_dir} PATH_VARS plugin_dir)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/RhoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
if(RHO_LIBUUID)
  set(pc_uuid "-luuid ")
endif()
set(pc_files)
foreach(name rho rho-host)
  set(pc_file ${CMAKE_BINARY_DIR}/package/${name}.pc)
  configure_file(cmake/package/${name}.pc.in ${pc_file}.in @ONLY)
  # CPack installs into a folder of its own.
  install(CODE "
    set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
    if(prefix MATCHES /_CPack_Packages/)
      set(prefix /usr)
    endif()
    cmake_path(ABSOLUTE_PATH prefix)
    file(READ \"${pc_file}.in\" text)
    string(REPLACE PREFIX \"\${prefix}\" text \"\${text}\")
    file(WRITE \"${pc_file}\" \"\${text}\")" COMPONENT dev)
  list(APPEND pc_files ${pc_file})
endforeach()
install(FILES
  ${CMAKE_BINARY_DIR}/package/RhoConfig.cmake
  ${CMAKE_BINARY_DIR}/package/RhoConfigVersion.cmake
  cmake/package/RhoModule.cmake
  cmake/package/module.exports
  DESTINATION ${cmake_dir} COMPONENT dev)
if(NOT RHO_HOST)
  list(FILTER pc_files EXCLUDE REGEX rho-host)
endif()
install(FILES ${pc_files} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

if(NOT RHO_HOST)
  return()
endif()
install(TARGETS rho EXPORT RhoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev)
install(TARGETS rho-module-helper RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/rho COMPONENT library)
install(FILES Host/Library/rho.h Host/Library/rho.hpp DESTINATION ${header_dir} COMPONENT dev)

if(TARGET gstrho)
  install(TARGETS gstrho LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0 COMPONENT gstreamer)
endif()

install(TARGETS rhohost RUNTIME COMPONENT tools)
install(TARGETS TagReader LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/rho COMPONENT tools)
if(TARGET FailingAllocations)
  install(TARGETS FailingAllocations LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/rho COMPONENT tools)
endif()
# The completions find it from the folder of rhohost.
install(PROGRAMS cmake/package/completions/settings.sh DESTINATION ${CMAKE_INSTALL_DATADIR}/rho COMPONENT tools)
file(RELATIVE_PATH bin_to_data /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_DATADIR}/rho)
foreach(completion
    "rhohost.bash|bash-completion/completions|rhohost" "_rhohost|zsh/vendor-completions|_rhohost"
    "rhohost.fish|fish/vendor_completions.d|rhohost.fish")
  string(REPLACE "|" ";" completion ${completion})
  list(GET completion 0 source)
  list(GET completion 1 folder)
  list(GET completion 2 name)
  configure_file(cmake/package/completions/${source}.in ${CMAKE_BINARY_DIR}/package/${source} @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/package/${source}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder} RENAME ${name} COMPONENT tools)
endforeach()

# The manual pages say what --help says.
find_program(HELP2MAN help2man)
if(HELP2MAN)
  set(pages)
  foreach(page
      "rhohost|rhohost|encode sound files as linear PCM in Matroska files"
      "rhohost-info|rhohost info|show an audio-encoder module and its settings"
      "rhohost-list|rhohost list|show all audio-encoder modules that are found"
      "rhohost-validate|rhohost validate|check an audio-encoder module")
    string(REPLACE "|" ";" page ${page})
    list(GET page 0 name)
    string(TOUPPER ${name} title)
    list(GET page 1 command)
    list(GET page 2 summary)
    set(output ${CMAKE_BINARY_DIR}/package/${name}.1.gz)
    string(REPLACE "rhohost" "${CMAKE_BINARY_DIR}/rhohost" command ${command})
    add_custom_command(OUTPUT ${output} DEPENDS rhohost VERBATIM
      COMMAND ${HELP2MAN} --no-info --name ${summary} --version-string ${PROJECT_VERSION}
        --output ${CMAKE_BINARY_DIR}/package/${name}.1 ${command}
      # help2man takes the first word for the page's name.
      COMMAND sed -i -e "s/^rhohost \\([a-z]*\\) \\\\- /rhohost-\\1 \\\\- /"
        -e "s/^.TH RHOHOST \\(.*\\)\"rhohost [a-z]* /.TH ${title} \\1\"rhohost /" ${CMAKE_BINARY_DIR}/package/${name}.1
      COMMAND gzip --best --no-name --force ${CMAKE_BINARY_DIR}/package/${name}.1)
    list(APPEND pages ${output})
  endforeach()
  add_custom_target(manual ALL DEPENDS ${pages})
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
else()
  message(STATUS "No manual pages: help2man is not installed")
endif()
