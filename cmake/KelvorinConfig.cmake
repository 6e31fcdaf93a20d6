# find_package(Kelvorin [COMPONENTS Core Widgets]): the imported targets Kelvorin::Core and, when
# asked for, Kelvorin::Widgets, which wants Qt 6.
include("${CMAKE_CURRENT_LIST_DIR}/KelvorinCore.cmake")
set(Kelvorin_Core_FOUND TRUE)
if("Widgets" IN_LIST Kelvorin_FIND_COMPONENTS
   AND EXISTS "${CMAKE_CURRENT_LIST_DIR}/KelvorinWidgets.cmake")
  find_package(Qt6 6.4 QUIET COMPONENTS Widgets)
  if(TARGET Qt6::Widgets)
    include("${CMAKE_CURRENT_LIST_DIR}/KelvorinWidgets.cmake")
    set(Kelvorin_Widgets_FOUND TRUE)
  endif()
endif()
foreach(component IN LISTS Kelvorin_FIND_COMPONENTS)
  if(Kelvorin_FIND_REQUIRED_${component} AND NOT Kelvorin_${component}_FOUND)
    set(Kelvorin_FOUND FALSE)
    set(Kelvorin_NOT_FOUND_MESSAGE "Kelvorin's component ${component} is not here")
  endif()
endforeach()
