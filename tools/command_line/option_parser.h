// The options, operands and subcommands of a command line. The library that reads them is known to
// option_parser.cpp alone: it is by far the slowest header to compile.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// An option, flag or operand that was declared. The parser owns it; this is a handle to it.
class declared_option {
public:
  explicit declared_option(CLI::Option& option) : option_(&option) {}

  declared_option& required();
  // Numbers outside `first` to `last` are wrong. The form for the option's own type is the one to
  // use.
  declared_option& in_range(int first, int last);
  declared_option& in_range(std::uint64_t first, std::uint64_t last);
  // Other texts than these are wrong. The help lists them in place of the value's name.
  declared_option& one_of(const std::vector<std::string>& texts);
  // The same for texts that the description names.
  declared_option& one_of_described(const std::vector<std::string>& texts);
  // `judge` returns the error in a text, or nothing if the text is valid.
  declared_option& judged_by(std::function<std::string(const std::string&)> judge);
  // How the help calls the value; else by its kind: TEXT, INT, UINT.
  declared_option& value_name(const std::string& name);
  // The help does not list it.
  declared_option& hidden();
  // Neither may be given with the other.
  declared_option& excludes(const declared_option& other);
  // Only to be given along with the other.
  declared_option& needs(const declared_option& other);

private:
  CLI::Option* option_;
};

// The command line of a program or of one of its subcommands. A handle: the program_parser must
// live as long, and so must every target. Names are as in "-r,--recursive"; one without a dash is
// an operand. A target keeps its value unless the command line has another.
class option_parser {
public:
  const std::string& name() const;

  declared_option add_flag(const std::string& names, bool& target, const std::string& description);
  declared_option add_option(const std::string& names, std::string& target,
                             const std::string& description);
  declared_option add_option(const std::string& names, int& target, const std::string& description);
  declared_option add_option(const std::string& names, std::uint64_t& target,
                             const std::string& description);
  // Any number of texts. They are kept unchanged, except one in brackets, which is split at its
  // commas and loses the brackets.
  declared_option add_texts(const std::string& name, std::vector<std::string>& target,
                            const std::string& description);

  // A text below the options in the help.
  void set_footer(const std::string& text);

protected:
  explicit option_parser(CLI::App& app) : app_(&app) {}

  CLI::App* app_;
};

class subcommand_parser : public option_parser {
public:
  // Whether the command line names this subcommand.
  bool is_given() const;

private:
  friend class program_parser;
  explicit subcommand_parser(CLI::App& app) : option_parser(app) {}
};

class program_parser : public option_parser {
public:
  // `name` is the tool's, for its errors and --version.
  program_parser(const std::string& name, const std::string& description);
  ~program_parser();
  program_parser(const program_parser&) = delete;
  program_parser& operator=(const program_parser&) = delete;

  // To be called before the subcommands are added: one of them has to be given, and the help is
  // laid out for a screen of 80 columns and 24 lines. `usage` follows the name in its first line.
  void expect_subcommand(const std::string& usage);
  subcommand_parser add_subcommand(const std::string& name, const std::string& summary);

  // Adds --version and reads the command line. Returns keep_going, or the exit status after having
  // printed the help or the error. An option's value may begin with a dash.
  int parse(int argc, char** argv);
  // The same for the arguments without the program's name.
  int parse(std::vector<std::string> arguments);

private:
  explicit program_parser(std::unique_ptr<CLI::App> app);

  std::unique_ptr<CLI::App> owned_;
};
