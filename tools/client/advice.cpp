#include "tools/client/advice.h"

#include "platform/text.h"
#include "rules/control_words.h"

namespace {

struct advice {
  const char* text;
  const char* words;
};

// Texts are compared by their beginning, since some end with a cause.
constexpr advice advices[] = {
    {status_busy, "it is running: cancel it first"},
    {status_too_many, "remove waiting jobs, or add again when some are done"},
    {"One or more parameters", "the name must not begin with a dot or contain control characters"},
    {"Rejected: Forbidden input file",
     "move it below /mnt, /media or /srv, or list its directory in /mnt/main/tv/media.roots"},
    {"Rejected: File is metadata", "name the media file, not its metadata"},
    {"Rejected: unable to locate folder",
     "the directory is missing, unreadable, or outside the allowed ones after symbolic links"},
    {"Rejected: neither file nor folder", "name the file itself, not a link or device"},
    {"Rejected: File is marked offline", "bring it online first; its metadata say offline=1"},
    {"Rejected: File type is not transcodeable", "it has neither audio nor video"},
    {"Rejected: Unable to create metadata", "qxmi_startitem --identify --file FILE says why"},
    {"unable to check metadata", "remove its metadata file, which is damaged or unreadable"},
    {"Rejected: Unable to determine", "qxmi_vod_transcode --quote --file FILE says why"},
    {"Rejected: Transcoder could not", "give it a shorter name if it is close to 200 bytes long"},
};

}  // namespace

std::string advice_for(std::string_view text) {
  for (const advice& known : advices) {
    if (begins_with(text, known.text)) { return known.words; }
  }
  return "";
}
