# Fliprugair::* for those who build with this project or install it: the static libraries as they are, or one shared
# library of all their objects.
get_property(libraries GLOBAL PROPERTY FLIPRUGAIR_LIBRARIES)
get_property(modules GLOBAL PROPERTY FLIPRUGAIR_MODULES)

if(BUILD_SHARED_LIBS)
  add_library(fliprugair_shared SHARED)
  # While the first number of the version is 0, the second may change the form of binary code.
  if(PROJECT_VERSION_MAJOR EQUAL 0)
    set(so_version 0.${PROJECT_VERSION_MINOR})
  else()
    set(so_version ${PROJECT_VERSION_MAJOR})
  endif()
  set_target_properties(fliprugair_shared PROPERTIES EXPORT_NAME Fliprugair OUTPUT_NAME fliprugair LINKER_LANGUAGE CXX
                                                     VERSION ${PROJECT_VERSION} SOVERSION ${so_version})
  target_compile_definitions(fliprugair_shared INTERFACE FLIPRUGAIR_SHARED)
  target_compile_features(fliprugair_shared INTERFACE cxx_std_17)
  target_include_directories(fliprugair_shared INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
  # Templates of the standard library are never hidden by a compiler's switch.
  set(symbols ${PROJECT_SOURCE_DIR}/cmake/symbols.map)
  # It is never unloaded: while an environment is open, threads run its code.
  target_link_options(fliprugair_shared PRIVATE -Wl,--version-script=${symbols} -Wl,--no-undefined -Wl,-z,nodelete)
  set_target_properties(fliprugair_shared PROPERTIES LINK_DEPENDS ${symbols})
  foreach(library IN LISTS libraries)
    target_sources(fliprugair_shared PRIVATE $<TARGET_OBJECTS:${library}>)
  endforeach()
  foreach(module IN LISTS modules)
    string(REGEX REPLACE "[|].*" "" prefix ${module})
    target_link_libraries(fliprugair_shared PRIVATE PkgConfig::${prefix})
  endforeach()
  target_link_libraries(fliprugair_shared PRIVATE $<BUILD_INTERFACE:fliprugair_build> Threads::Threads)
  add_library(Fliprugair::Fliprugair ALIAS fliprugair_shared)
  set(installed fliprugair_shared)
  set(components "")
  foreach(library IN LISTS libraries)
    get_target_property(component ${library} EXPORT_NAME)
    if(NOT component STREQUAL Fliprugair)
      # The same library by another name, so that a project links what it needs whatever there is.
      add_library(fliprugair_shared_${component} INTERFACE)
      set_target_properties(fliprugair_shared_${component} PROPERTIES EXPORT_NAME ${component})
      target_link_libraries(fliprugair_shared_${component} INTERFACE fliprugair_shared)
      add_library(Fliprugair::${component} ALIAS fliprugair_shared_${component})
      list(APPEND installed fliprugair_shared_${component})
    endif()
    list(APPEND components ${component})
  endforeach()
  # What tests alone are linked with stays outside of it.
  add_library(fliprugair_shared_Virtual STATIC $<TARGET_OBJECTS:FliprugairVirtual>)
  set_target_properties(fliprugair_shared_Virtual PROPERTIES EXPORT_NAME Virtual OUTPUT_NAME fliprugair-virtual
                                                             ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/shared
                                                             LINKER_LANGUAGE CXX)
  target_link_libraries(fliprugair_shared_Virtual PUBLIC fliprugair_shared)
  add_library(Fliprugair::Virtual ALIAS fliprugair_shared_Virtual)
  list(APPEND installed fliprugair_shared_Virtual)
  list(APPEND components Virtual)
else()
  list(APPEND libraries FliprugairVirtual)
  set(installed ${libraries})
  set(components "")
  foreach(library IN LISTS libraries)
    get_target_property(component ${library} EXPORT_NAME)
    add_library(Fliprugair::${component} ALIAS ${library})
    list(APPEND components ${component})
  endforeach()
endif()

if(NOT FLIPRUGAIR_INSTALL)
  return()
endif()

include(CMakePackageConfigHelpers)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Fliprugair)
install(TARGETS ${installed} EXPORT FliprugairTargets
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT FliprugairTargets NAMESPACE Fliprugair:: DESTINATION ${package_folder} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

configure_package_config_file(cmake/FliprugairConfig.cmake.in FliprugairConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(FliprugairConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/FliprugairConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/FliprugairConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT development)

# For pkg-config: the static libraries from top to bottom, and what they are linked with.
set(pc_libraries -lfliprugair)
set(pc_flags -DFLIPRUGAIR_SHARED)
set(pc_requires "")
if(NOT BUILD_SHARED_LIBS)
  set(pc_libraries -pthread)
  set(pc_flags "")
  list(REMOVE_ITEM libraries FliprugairVirtual)
  foreach(library IN LISTS libraries)
    get_target_property(file ${library} OUTPUT_NAME)
    list(PREPEND pc_libraries -l${file})
  endforeach()
  foreach(module IN LISTS modules)
    string(REGEX REPLACE ".*[|](.*)[|](.*)[|].*" "\\1 >= \\2" require ${module})
    list(APPEND pc_requires ${require})
  endforeach()
endif()
list(JOIN pc_libraries " " pc_libraries)
list(JOIN pc_requires ", " pc_requires)
# They say where they are from where they stand, so that `cmake --install --prefix` may take them anywhere.
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH pc_libraries_folder ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_include_folder ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/fliprugair.pc.in fliprugair.pc @ONLY)
configure_file(cmake/fliprugair-virtual.pc.in fliprugair-virtual.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fliprugair.pc ${CMAKE_CURRENT_BINARY_DIR}/fliprugair-virtual.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
