// What a stand-in tool does when the service runs it, and what it noted about each run.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace qx_test {

// The names under which plans are set and calls are counted: one per step of a job, so that the
// two uses of the transcoder are told apart. Requests made with curl may also be named by their
// command: "curl.add", "curl.list", "curl.pause", ...
namespace tool {
constexpr const char* quote = "quote";          // qxmi_vod_transcode --quote
constexpr const char* transcode = "transcode";  // qxmi_vod_transcode, every other use
constexpr const char* startitem = "startitem";  // qxmi_startitem
constexpr const char* grab = "grab";            // qxmi_grab
constexpr const char* upload = "upload";        // qxmi_remote_transcode
constexpr const char* curl = "curl";
constexpr const char* wget = "wget";
constexpr const char* rm = "rm";
constexpr const char* ncftpput = "ncftpput";
}  // namespace tool

// A list of steps that the stand-in takes one after another; behind the last one it exits with 0.
//
//   tool_plan().print("Encoding: frame=1/4\n").wait("go").write("{-o}", "mp4").exit(3)
//
// In paths, "{-o}" stands for the value of that option on the tool's own command line (the next
// argument, or what follows "-o="), and "{2}" for argument 2. Texts may hold any bytes.
class tool_plan {
public:
  tool_plan& print(std::string_view bytes);        // to standard output, as they are
  tool_plan& print_error(std::string_view bytes);  // to standard error
  tool_plan& fill(unsigned long count);            // that many 'x', no line feed
  tool_plan& write(std::string_view path, std::string_view content);
  tool_plan& metadata(std::string_view lines);  // metadata file of the file "{--file}"
  tool_plan& remove_trees();                    // what rm does, below /mnt/ only
  tool_plan& mark(std::string_view name);       // tells the test that this step is reached
  tool_plan& wait(std::string_view name);       // until the test calls release(name)
  tool_plan& catch_signal(int number);          // noted in the call, and survived
  tool_plan& read_stdin();                      // to its end; kept in the call
  tool_plan& close_stdout();
  tool_plan& grandchild();  // a child in the same group that never ends
  tool_plan& hold(std::string_view path, long position);  // kept open for reading, at that offset
  tool_plan& exit(int status);
  tool_plan& die(int signal_number);

  const std::string& text() const { return text_; }

private:
  tool_plan& step(std::string_view verb, const std::vector<std::string_view>& arguments);
  std::string text_;
};

// One run of a stand-in tool, as it saw itself at its start. Process ids are those of the private
// root's own process namespace, as the service sees and reports them.
struct tool_call {
  std::string name;  // see namespace tool
  int number = 0;    // 1 for the first run of this name
  std::vector<std::string> argv;
  std::map<std::string, std::string> environment;
  std::map<int, std::string> descriptors;  // number to link target, "pipe:[...]" and the like
  int pid = -1;
  int group = -1;
  int session = -1;
  int nice = 0;
  unsigned umask = 0;
  unsigned long long time_us = 0;  // monotonic clock
  std::string folder;              // where the record lies

  // These three are read anew at each call, for they grow while the tool runs.
  std::vector<int> signals() const;  // caught so far, in order
  std::string stdin_text() const;    // complete once its step is over
  int grandchild() const;            // process id; -1 when there is none
};

// The complete records below `calls_folder`, in order of their start. An empty name means all.
std::vector<tool_call> read_tool_calls(const std::string& calls_folder, std::string_view name);

}  // namespace qx_test
