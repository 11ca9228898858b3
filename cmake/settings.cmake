# What every target of ours carries; linked privately by each.
# g++ 12 sees overlapping copies in std::string where there are none (-Wrestrict).
add_library(miscdisc_settings INTERFACE)
target_compile_options(miscdisc_settings INTERFACE
  -fno-semantic-interposition
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<BOOL:${MISCDISC_WERROR}>:-Werror>)
if(MISCDISC_SANITIZE)
  target_compile_options(miscdisc_settings INTERFACE
    -fsanitize=${MISCDISC_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(miscdisc_settings INTERFACE -fsanitize=${MISCDISC_SANITIZE})
endif()

# Headers are included by their full path from the root.
add_library(miscdisc_includes INTERFACE)
target_include_directories(miscdisc_includes INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
set_target_properties(miscdisc_includes PROPERTIES EXPORT_NAME includes)
target_compile_features(miscdisc_includes INTERFACE cxx_std_20)
