// What other libraries may see of this one.
#pragma once

#define MISCDISC_EXPORT __attribute__((visibility("default")))
