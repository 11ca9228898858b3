#include "console/not_answering.h"

#include <fmt/core.h>

namespace console {

std::string notAnswering(const WString& path, const Options& options) {
  return fmt::format(
      "{} is not answering: nothing came from it in {:g} s.  Look at its mount or server, or wait "
      "longer, for example with --timeout 5",
      printable(path), options.timeout);
}

}  // namespace console
