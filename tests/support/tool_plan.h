// Plans for stand-in tools, and the records of their runs.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace qx_test {

// The names used to set plans and count calls: one per step of a job, so that the two uses of the
// transcoder are distinguished. Requests made with curl may also be named by their command:
// "curl.add", "curl.list", "curl.pause", ...
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

// A list of steps that the stand-in performs in order; after the last one it exits with 0.
//
//   tool_plan().print("Encoding: frame=1/4\n").wait("go").write("{-o}", "mp4").exit(3)
//
// In paths, "{-o}" is replaced with the value of this option on the tool's command line (the next
// argument, or the text after "-o="), and "{2}" with argument 2. Texts may contain any bytes.
class tool_plan {
public:
  tool_plan& print(std::string_view bytes);        // to standard output, unchanged
  tool_plan& print_error(std::string_view bytes);  // to standard error
  tool_plan& fill(unsigned long count);            // this many 'x', no line feed
  // The text again and again, until this many bytes are out or nobody reads any more.
  tool_plan& flood(std::string_view bytes, unsigned long count);
  tool_plan& write(std::string_view path, std::string_view content);
  tool_plan& metadata(std::string_view lines);  // metadata file of the file "{--file}"
  tool_plan& remove_trees();                    // what rm does, below /mnt/ only
  tool_plan& mark(std::string_view name);       // tells the test that this step has been reached
  tool_plan& wait(std::string_view name);       // until the test calls release(name)
  tool_plan& catch_signal(int number);          // recorded in the call, and survived
  tool_plan& read_stdin();                      // until end of file; recorded in the call
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

// One run of a stand-in tool, as recorded at its start. Process ids are those of the private root's
// namespace, as the service sees and reports them.
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
  std::string folder;              // where the record is

  // These three are read again at each call, because they grow while the tool runs.
  std::vector<int> signals() const;  // caught so far, in order
  std::string stdin_text() const;    // complete once its step is over
  int grandchild() const;            // process id; -1 when there is none
};

// The complete records below `calls_folder`, in order of their start. An empty name selects all
// tools.
std::vector<tool_call> read_tool_calls(const std::string& calls_folder, std::string_view name);

}  // namespace qx_test
