#include "tools/client/advice.h"

#include "platform/text.h"
#include "rules/control_words.h"
#include "rules/texts.h"

namespace {

struct advice {
  const char* text;
  const char* words;
};

// Texts are compared by their beginning, since some end with a cause.
constexpr advice advices[] = {
    {status_busy, "it is running: cancel it first"},
    {status_too_many, "remove waiting jobs, or add again when some are done"},
    {status_not_accepted, "the name must not begin with a dot or contain control characters"},
    {text_source_forbidden,
     "move it below /mnt, /media or /srv, or list its directory in /mnt/main/tv/media.roots"},
    {text_source_is_metadata, "name the media file, not its metadata"},
    {text_folder_not_found,
     "the directory is missing, unreadable, or outside the allowed ones after symbolic links"},
    {text_not_a_file, "name the file itself, not a link or device"},
    {text_offline, "bring it online first; its metadata say offline=1"},
    {text_not_transcodeable, "it has neither audio nor video"},
    {text_not_identified, "qxmi_startitem --identify --file FILE says why"},
    {text_metadata_unreadable, "remove its metadata file, which is damaged or unreadable"},
    {text_listing_failed, "qxmi_vod_transcode --quote --file FILE says why"},
    {text_nothing_listed, "give it a shorter name if it is close to 200 bytes long"},
};

}  // namespace

std::string advice_for(std::string_view text) {
  for (const advice& known : advices) {
    if (begins_with(text, known.text)) { return known.words; }
  }
  return "";
}
