# The plan of the house: which room may include which. A room may always include itself and
# whatever its neighbours below may include. `kv_room` refuses a dependency that is not listed
# here, and the layer test refuses an #include that is not.
set(KELVORIN_ROOM_ORDER
    base/os base control/contract textsource settings database/values database/storage
    database/api database/access database/xbase database/odbc database/drivers database/catalog
    mapping engine wizard wizard/qt control control/qt control/designer)

set(KELVORIN_LAYERS_base_os            "")
set(KELVORIN_LAYERS_base               base/os)
set(KELVORIN_LAYERS_control_contract   base)
set(KELVORIN_LAYERS_textsource         base)
set(KELVORIN_LAYERS_settings           textsource control/contract base)
set(KELVORIN_LAYERS_database_values    base)
set(KELVORIN_LAYERS_database_storage   base base/os)
set(KELVORIN_LAYERS_database_api       database/values control/contract base)
set(KELVORIN_LAYERS_database_access    database/api database/values database/storage base)
set(KELVORIN_LAYERS_database_xbase     database/api database/values database/storage base)
set(KELVORIN_LAYERS_database_odbc      database/api database/values base base/os)
set(KELVORIN_LAYERS_database_drivers
    database/access database/xbase database/odbc database/api database/storage base)
set(KELVORIN_LAYERS_database_catalog   database/api database/values settings control/contract base)
set(KELVORIN_LAYERS_mapping            database/catalog database/api settings base)
set(KELVORIN_LAYERS_engine
    mapping database/catalog database/api database/values textsource settings control/contract base)
set(KELVORIN_LAYERS_wizard
    engine mapping database/catalog database/api database/values textsource settings
    control/contract base)
# The windows, where Qt is: views over the form objects, the control for Qt hosts, the plug-in for
# its form designer.
set(KELVORIN_LAYERS_wizard_qt          wizard control/contract base)
set(KELVORIN_LAYERS_control_qt         wizard/qt control control/contract base)
set(KELVORIN_LAYERS_control_designer   control/qt control/contract base)
set(KELVORIN_LAYERS_control
    wizard database/drivers database/api database/values settings control/contract base)
set(KELVORIN_LAYERS_apps_kelvorin
    control wizard engine mapping database/drivers database/catalog database/api database/values
    textsource settings control/contract base)
