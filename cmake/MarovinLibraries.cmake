# The shared libraries a host links (installed, exported as Marovin::Model, Marovin::Db and
# Marovin::Widgets), and the libraries the tools link: the shared ones, or the layers' static
# libraries when shared libraries are off.

if(MAROVIN_SHARED)
  marovin_add_shared_library(marovin_model_shared
    EXPORT_NAME Model OUTPUT_NAME marovin-model
    LAYERS marovin_model
    PUBLIC_LIBS pugixml::pugixml)
  marovin_add_shared_library(marovin_db_shared
    EXPORT_NAME Db OUTPUT_NAME marovin-db
    LAYERS marovin_db)
  set(MAROVIN_TOOL_CORE_LIBS Marovin::Model Marovin::Db)
  set(MAROVIN_SHARED_TARGETS marovin_model_shared marovin_db_shared)
  if(MAROVIN_GUI)
    marovin_add_shared_library(marovin_widgets_shared
      EXPORT_NAME Widgets OUTPUT_NAME marovin-widgets
      LAYERS marovin_platform marovin_diagram marovin_dialogs marovin_control
      PUBLIC_LIBS Marovin::Db Marovin::Model Qt6::Widgets)
    set(MAROVIN_TOOL_GUI_LIBS Marovin::Widgets Marovin::Db Marovin::Model)
    list(APPEND MAROVIN_SHARED_TARGETS marovin_widgets_shared)
  endif()
else()
  set(MAROVIN_TOOL_CORE_LIBS marovin_model marovin_db)
  set(MAROVIN_TOOL_GUI_LIBS marovin_control)
endif()

# Installed programs find the libraries relative to themselves, so an install below any prefix
# (or an unpacked package) runs as it is.
file(RELATIVE_PATH MAROVIN_BIN_TO_LIB
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(MAROVIN_TOOL_RPATH "$ORIGIN/${MAROVIN_BIN_TO_LIB}")
