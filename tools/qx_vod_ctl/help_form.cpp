// How the client's help is laid out.
#include "tools/qx_vod_ctl/help_form.h"

#include <sstream>
#include <utility>

namespace {

constexpr std::size_t screen_columns = 80;
constexpr std::size_t option_columns = 24;
constexpr std::size_t subcommand_columns = 12;

std::string broken_into_lines(const std::string& text, std::size_t columns) {
  std::istringstream words(text);
  std::string lines;
  std::size_t used = 0;
  for (std::string word; words >> word; used += word.size()) {
    if (used > 0 && used + 1 + word.size() > columns) {
      lines += '\n';
      used = 0;
    } else if (used > 0) {
      lines += ' ';
      ++used;
    }
    lines += word;
  }
  return lines;
}

// All of it is to fit a screen of 24 lines, so there is no line to spare for the program's own
// description, which each subcommand's makes plain, or between the parts.
std::string program_help(const CLI::App& app, const std::string& name) {
  std::ostringstream help;
  help << "Usage: " << name << " [SUBCOMMAND] [OPTIONS|--help], or --version; alone: status\n"
       << "Subcommands:\n";
  for (const CLI::App* const subcommand :
       app.get_subcommands([](const CLI::App*) { return true; })) {
    CLI::detail::format_help(help, subcommand->get_name(), subcommand->get_description(),
                             subcommand_columns);
  }
  help << app.get_footer() << '\n';
  return help.str();
}

}  // namespace

help_form::help_form() {
  column_width(option_columns);
}

std::string help_form::make_help(const CLI::App* app, std::string name,
                                 CLI::AppFormatMode mode) const {
  if (app->get_parent() == nullptr) { return program_help(*app, app->get_name()); }
  return CLI::Formatter::make_help(app, std::move(name), mode);
}

std::string help_form::make_option(const CLI::Option* option, bool is_positional) const {
  std::ostringstream help;
  CLI::detail::format_help(
      help, make_option_name(option, is_positional) + make_option_opts(option),
      broken_into_lines(make_option_desc(option), screen_columns - option_columns), option_columns);
  return help.str();
}
