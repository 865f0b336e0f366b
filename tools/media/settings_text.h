// Reads lines of the form "name = value" into variables of the caller, which declares each name
// with its type.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class settings_text {
public:
  // Declare a name. The target keeps its value unless the text has a correct one; it must live as
  // long as this object. A switch is "yes" or "no". A number is whole, from `least` to `most`. A
  // choice is one of `choices`. A name consists of up to 255 letters, digits, ".", "_" and "-",
  // or is empty. A text is any, and may be empty.
  void add_switch(const char* name, bool& target);
  void add_number(const char* name, int& target, int least, int most);
  void add_choice(const char* name, std::string& target, std::vector<std::string> choices);
  void add_name(const char* name, std::string& target);
  void add_text(const char* name, std::string& target);

  // Reads `text`. Blanks around names and values do not count, nor do empty lines and those that
  // begin with "#"; if a name occurs twice, the last correct line counts. Returns a warning such as
  // "line 3: CAUSE" for each line that is wrong and is therefore ignored; an unknown name is warned
  // of once.
  std::vector<std::string> read(std::string_view text) const;

private:
  // Returns what the value would have to be, or nothing if it was accepted.
  using value_reader = std::function<std::string(std::string_view value)>;

  struct setting {
    const char* name;
    value_reader take;
  };

  const setting* find(std::string_view name) const;
  std::string read_line(std::string_view line, std::vector<std::string>& unknown) const;

  std::vector<setting> settings_;
};
