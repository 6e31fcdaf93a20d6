# What hosts link and `cmake --install` puts in place: the shared libraries Kelvorin::Core (no window
# system) and Kelvorin::Widgets (the control for Qt), their headers and CMake package, the plug-in
# for the form designer, and the programs.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# kv_library(NAME ROOMS ... HEADERS ... [LINKS ...])
#
# One shared library Kelvorin::NAME out of whole rooms. LINKS are seen by who uses it.
function(kv_library name)
  cmake_parse_arguments(LIBRARY "" "" "ROOMS;HEADERS;LINKS" ${ARGN})
  set(target Kelvorin${name})
  add_library(${target} SHARED)
  add_library(Kelvorin::${name} ALIAS ${target})
  foreach(room IN LISTS LIBRARY_ROOMS)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:kv_${room}>)
    # Other people's libraries that the room links.
    get_target_property(links kv_${room} LINK_LIBRARIES)
    list(FILTER links EXCLUDE REGEX "Kelvorin::|kv_flags|Qt6::")
    target_link_libraries(${target} PRIVATE ${links})
  endforeach()
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${CMAKE_SOURCE_DIR}"
                 FILES ${LIBRARY_HEADERS})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PUBLIC ${LIBRARY_LINKS} PRIVATE $<BUILD_INTERFACE:kv_flags>)
  set_target_properties(${target} PROPERTIES
    LINKER_LANGUAGE CXX VERSION "${PROJECT_VERSION}" SOVERSION "${PROJECT_VERSION_MAJOR}"
    EXPORT_NAME ${name} INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${target} EXPORT Kelvorin${name}
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kelvorin")
  install(EXPORT Kelvorin${name} NAMESPACE Kelvorin:: DESTINATION "${kv_package_folder}")
endfunction()

set(kv_package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/Kelvorin")
get_property(kv_core_rooms GLOBAL PROPERTY KELVORIN_ROOMS)
list(REMOVE_ITEM kv_core_rooms wizard_qt control_qt designer_sheet)
kv_library(Core
  ROOMS   ${kv_core_rooms}
  HEADERS base/status.h contract/enums.h contract/events.h contract/form.h
          contract/platform.h contract/properties.h contract/run_result.h
          control/kelvorin.h)
install(TARGETS kelvorin)

if(TARGET Qt6::Widgets)
  kv_library(Widgets
    ROOMS   wizard_qt control_qt
    HEADERS control/qt/kelvorin_control.h
    LINKS   Kelvorin::Core Qt6::Widgets)
  install(TARGETS kelvorin-wizard)
endif()

if(TARGET kelvorin-designer)
  # Qt's own folder is where form designers look; below another prefix the plug-in is found through
  # QT_PLUGIN_PATH.
  set(KELVORIN_DESIGNER_FOLDER "" CACHE PATH
      "Where the plug-in for the form designer is installed; empty: Qt's folder, or below the prefix")
  set(kv_plugins "${KELVORIN_DESIGNER_FOLDER}")
  if(kv_plugins STREQUAL "")
    set(kv_plugins "${CMAKE_INSTALL_LIBDIR}/qt6/plugins/designer")
    if(CMAKE_INSTALL_PREFIX STREQUAL "/usr/local" OR CMAKE_INSTALL_PREFIX STREQUAL QT6_INSTALL_PREFIX)
      cmake_path(ABSOLUTE_PATH QT6_INSTALL_PLUGINS BASE_DIRECTORY "${QT6_INSTALL_PREFIX}" NORMALIZE
                 OUTPUT_VARIABLE kv_plugins)
      cmake_path(APPEND kv_plugins designer)
    endif()
  endif()
  set_target_properties(kelvorin-designer PROPERTIES INSTALL_RPATH "${CMAKE_INSTALL_FULL_LIBDIR}")
  install(TARGETS kelvorin-designer LIBRARY DESTINATION "${kv_plugins}")
endif()

write_basic_package_version_file("${CMAKE_BINARY_DIR}/KelvorinConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
configure_file(cmake/kelvorin.pc.in kelvorin.pc @ONLY)
install(FILES cmake/KelvorinConfig.cmake "${CMAKE_BINARY_DIR}/KelvorinConfigVersion.cmake"
  DESTINATION "${kv_package_folder}")
install(FILES "${CMAKE_BINARY_DIR}/kelvorin.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
