# miscdisc::miscdisc  the rules on Linux
# miscdisc::host      the platform on Linux alone
# miscdisc::rules     the rules for an application that brings a platform of its own
# miscdisc::values    text, lists, ids, observers
include(${CMAKE_CURRENT_LIST_DIR}/miscdiscTargets.cmake)
