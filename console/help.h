// How "--help" looks.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace console {

class Help : public CLI::Formatter {
 public:
  std::string make_footer(const CLI::App* app) const override {
    const std::string own = Formatter::make_footer(app);
    if (!app->get_parent()) return own;
    return own + (own.empty() ? "" : "\n") + "Options of every command: miscdisc --help\n";
  }
};

}  // namespace console
