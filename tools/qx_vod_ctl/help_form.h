// How the client's help is laid out: 80 columns, and each text on one screen.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

// Breaks descriptions at the right edge, and shows the whole program's help without an empty line
// or a heading that it can do without: there are many subcommands.
class help_form : public CLI::Formatter {
public:
  help_form();

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
};
