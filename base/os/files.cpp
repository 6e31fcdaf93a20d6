#include "base/os/files.h"
