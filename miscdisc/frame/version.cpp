#include "miscdisc/frame/version.h"

const char* miscdiscDllVersionStr() { return "12.0.2.0"; }
