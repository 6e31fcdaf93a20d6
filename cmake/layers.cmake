# The plan of the house: which room may include which. A room may always include itself and what
# is listed for it, nothing else. `kv_room` refuses a dependency that is not listed here, and the
# layer test refuses an #include that is not.
set(KELVORIN_ROOM_ORDER
    os base contract textsource settings values storage
    database database/folder database/access database/xbase database/paradox database/odbc
    database/drivers catalog
    mapping engine job wizard wizard/qt control control/qt control/designer)

set(KELVORIN_LAYERS_os                 "")
set(KELVORIN_LAYERS_base               os)
set(KELVORIN_LAYERS_contract           base)
set(KELVORIN_LAYERS_textsource         base)
set(KELVORIN_LAYERS_settings           textsource contract base)
set(KELVORIN_LAYERS_values             base)
set(KELVORIN_LAYERS_storage            base)
set(KELVORIN_LAYERS_database           values contract base)
set(KELVORIN_LAYERS_database_folder   database storage base)
set(KELVORIN_LAYERS_database_access    database values storage base)
set(KELVORIN_LAYERS_database_xbase     database/folder database values storage base)
set(KELVORIN_LAYERS_database_paradox   database/folder database values storage base)
set(KELVORIN_LAYERS_database_odbc      database values base os)
set(KELVORIN_LAYERS_database_drivers
    database/access database/xbase database/paradox database/odbc database storage base)
set(KELVORIN_LAYERS_catalog            database values settings contract base)
set(KELVORIN_LAYERS_mapping            catalog database settings base)
set(KELVORIN_LAYERS_engine
    mapping catalog database values textsource settings contract base)
set(KELVORIN_LAYERS_job
    engine mapping catalog database values textsource settings contract base)
set(KELVORIN_LAYERS_wizard
    job engine mapping catalog database values textsource settings contract base)
# The windows, where Qt is: views over the form objects, the control for Qt hosts, the plug-in for
# its form designer.
set(KELVORIN_LAYERS_wizard_qt          wizard contract base)
set(KELVORIN_LAYERS_control            wizard job database/drivers database values settings contract base)
set(KELVORIN_LAYERS_control_qt         wizard/qt control contract base)
set(KELVORIN_LAYERS_control_designer   control/qt contract base)
set(KELVORIN_LAYERS_apps_kelvorin
    control job engine mapping database/drivers catalog database values textsource settings
    contract base)

# What the operating system offers is called in `os` alone, so that there is one way to a file and
# one clock: elsewhere these headers and calls are refused.
set(KELVORIN_SYSTEM_HEADERS
    "<(filesystem|fstream|fcntl\\.h|unistd\\.h|dirent\\.h|ctime|time\\.h|sys/.*)>")
set(KELVORIN_SYSTEM_CALLS
    "(fopen|freopen|tmpfile|system_clock::now|steady_clock::now|gettimeofday|clock_gettime) *\\(")
# Files that need one all the same, for what is neither a file of the product nor a clock.
set(KELVORIN_SYSTEM_USERS
    apps/kelvorin/passwords.cpp       # the terminal's echo; a password out of a pipe
    apps/kelvorin/piped_source.cpp    # a pipe, and a temporary file without a name
    apps/kelvorin/progress_bar.cpp    # whether standard error is a terminal
    apps/kelvorin/wizard_command.cpp  # becomes another program
    wizard/qt/display.cpp)            # the socket of the display
