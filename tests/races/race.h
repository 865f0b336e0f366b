// A step that root performs on names which another account changes meanwhile.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qx_test {

// Everything that the races are about is below these folders; each try finds them as
// prepare_folders() leaves them.
constexpr const char* open_folder = "/mnt/open";        // everybody can write to it
constexpr const char* private_folder = "/mnt/private";  // what nobody but root may change or read
constexpr const char* output_folder = "/mnt/main/tv/vod";
constexpr const char* jobs_folder = "/mnt/main/tv/fileops/jobs";

struct race {
  std::string name;
  std::function<void()> prepare;    // before each try, besides the folders
  std::function<void()> attack;     // one round of the attacker
  std::function<void()> step;       // as the programs perform it
  std::function<void()> unguarded;  // the same by path, to see that the attacker would succeed
  std::function<bool()> done;       // whether the step has had its effect
  // Whether the attacker achieved something besides a change in the private folder.
  std::function<bool()> also_won = [] { return false; };
};

// The steps of the service, those of its tools, and those with folders of segments.
std::vector<race> service_races();
std::vector<race> tool_races();
std::vector<race> segment_races();

// Empties all the folders; the private one holds for each name that a step might write or remove a
// file with the text "private".
void prepare_folders();
// Whether anything in the private folder differs from that.
bool private_folder_has_changed();

// Files for the steps.
void write_text(const std::string& path, const std::string& text);
std::string text_of(const std::string& path);
void make_folder(const std::string& path, unsigned mode = 0755);
void make_link(const std::string& path, const std::string& target);

}  // namespace qx_test
