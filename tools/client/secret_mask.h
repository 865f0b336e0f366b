// Masks passwords in texts that leave the machine or are shown on a screen.
#pragma once

#include <string>
#include <vector>

#include <json11.hpp>

// Replaces a secret.
constexpr const char* masked_text = "(masked)";

class secret_mask {
public:
  secret_mask() = default;
  // Empty secrets are ignored.
  explicit secret_mask(const std::vector<std::string>& secrets);

  // `text` with every occurrence of a secret replaced, character by character: no pattern.
  std::string masked(const std::string& text) const;

  // The same in every string and every key of a document. Of the item's "process argv" the name and
  // password given to a tool go too, whatever they are: the service may have been started with
  // others than the configuration holds now.
  json11::Json masked_json(const json11::Json& json) const;

private:
  json11::Json masked_object(const json11::Json::object& object) const;
  json11::Json masked_arguments(const json11::Json& arguments) const;

  std::vector<std::string> secrets_;  // longest first: one may be a part of another
};
