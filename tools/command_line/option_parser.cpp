// Options, operands and subcommands, read by CLI11; no other file includes it.
#include "tools/command_line/option_parser.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include <CLI/CLI.hpp>

#include "tools/command_line/command_line.h"

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
// description, which the summaries of its subcommands make plain, or between the parts.
std::string program_help(const CLI::App& app, const std::string& usage) {
  std::ostringstream help;
  help << "Usage: " << app.get_name() << ' ' << usage << "\nSubcommands:\n";
  for (const CLI::App* const subcommand :
       app.get_subcommands([](const CLI::App*) { return true; })) {
    CLI::detail::format_help(help, subcommand->get_name(), subcommand->get_description(),
                             subcommand_columns);
  }
  help << app.get_footer() << '\n';
  return help.str();
}

// The help of a program with subcommands: 80 columns, and each text on one screen.
class screen_help : public CLI::Formatter {
public:
  explicit screen_help(std::string usage) : usage_(std::move(usage)) {
    column_width(option_columns);
  }

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    if (app->get_parent() == nullptr) { return program_help(*app, usage_); }
    return CLI::Formatter::make_help(app, std::move(name), mode);
  }

  std::string make_option(const CLI::Option* option, bool is_positional) const override {
    std::ostringstream help;
    CLI::detail::format_help(
        help, make_option_name(option, is_positional) + make_option_opts(option),
        broken_into_lines(make_option_desc(option), screen_columns - option_columns),
        option_columns);
    return help.str();
  }

private:
  std::string usage_;
};

}  // namespace

declared_option& declared_option::required() {
  option_->required();
  return *this;
}

declared_option& declared_option::in_range(int first, int last) {
  option_->check(CLI::Range(first, last));
  return *this;
}

declared_option& declared_option::in_range(std::uint64_t first, std::uint64_t last) {
  option_->check(CLI::Range(first, last));
  return *this;
}

declared_option& declared_option::one_of(const std::vector<std::string>& texts) {
  option_->check(CLI::IsMember(texts));
  return *this;
}

declared_option& declared_option::one_of_described(const std::vector<std::string>& texts) {
  option_->check(CLI::IsMember(texts).description(""));
  return *this;
}

declared_option& declared_option::judged_by(std::function<std::string(const std::string&)> judge) {
  option_->check(std::move(judge));
  return *this;
}

declared_option& declared_option::value_name(const std::string& name) {
  option_->type_name(name);
  return *this;
}

declared_option& declared_option::excludes(const declared_option& other) {
  option_->excludes(other.option_);
  return *this;
}

declared_option& declared_option::hidden() {
  option_->group("");
  return *this;
}

declared_option& declared_option::needs(const declared_option& other) {
  option_->needs(other.option_);
  return *this;
}

const std::string& option_parser::name() const {
  return app_->get_name();
}

declared_option option_parser::add_flag(const std::string& names, bool& target,
                                        const std::string& description) {
  return declared_option(*app_->add_flag(names, target, description));
}

declared_option option_parser::add_option(const std::string& names, std::string& target,
                                          const std::string& description) {
  return declared_option(*app_->add_option(names, target, description));
}

declared_option option_parser::add_option(const std::string& names, int& target,
                                          const std::string& description) {
  return declared_option(*app_->add_option(names, target, description));
}

declared_option option_parser::add_option(const std::string& names, std::uint64_t& target,
                                          const std::string& description) {
  return declared_option(*app_->add_option(names, target, description));
}

// Not read as a vector: that conversion would take "{}" for an empty list.
declared_option option_parser::add_texts(const std::string& name, std::vector<std::string>& target,
                                         const std::string& description) {
  const auto take = [&target](const CLI::results_t& results) {
    target = results;
    return true;
  };
  return declared_option(
      *app_->add_option(name, take, description)->expected(1, -1)->allow_extra_args());
}

void option_parser::set_footer(const std::string& text) {
  app_->footer(text);
}

bool subcommand_parser::is_given() const {
  return app_->parsed();
}

program_parser::program_parser(const std::string& name, const std::string& description)
    : program_parser(std::make_unique<CLI::App>(description, name)) {}

program_parser::program_parser(std::unique_ptr<CLI::App> app)
    : option_parser(*app), owned_(std::move(app)) {}

program_parser::~program_parser() = default;

void program_parser::expect_subcommand(const std::string& usage) {
  app_->formatter(std::make_shared<screen_help>(usage));
  app_->require_subcommand(1);
}

subcommand_parser program_parser::add_subcommand(const std::string& name,
                                                 const std::string& summary) {
  return subcommand_parser(*app_->add_subcommand(name, summary));
}

int program_parser::parse(int argc, char** argv) {
  return parse({argv + std::min(argc, 1), argv + argc});
}

int program_parser::parse(std::vector<std::string> arguments) {
  std::reverse(arguments.begin(), arguments.end());  // the library takes the last one first
  app_->set_version_flag("--version", name() + " " QX_VERSION);
  try {
    app_->parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) { return app_->exit(error); }
    return report_usage(name(), error.what());
  }
  return keep_going;
}
