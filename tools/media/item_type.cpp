#include "tools/media/item_type.h"

#include "platform/text.h"

namespace {

// Subtypes of "video/" and "audio/".
struct media_type {
  std::string_view video;
  std::string_view audio;
};

// To add a container: the engine's first name of it, and its types; the same name is in the list
// of containers that the engine may read.
struct container_type {
  std::string_view container;
  media_type type;
};

constexpr container_type container_types[] = {
    {"mpegts", {"mp2t", "mp2t"}},
    {"mpeg", {"mpeg", "mpeg"}},
    {"mpegvideo", {"mpeg", "mpeg"}},
    {"mxf", {"mxf", "mxf"}},
    {"avi", {"x-msvideo", "x-msvideo"}},
    {"asf", {"x-ms-asf", "x-ms-wma"}},
    {"flv", {"x-flv", "x-flv"}},
    {"gxf", {"x-gxf", "x-gxf"}},
    {"h264", {"h264", "h264"}},
    {"hevc", {"h265", "h265"}},
    {"dv", {"dv", "dv"}},
    {"ogg", {"ogg", "ogg"}},
    {"mp3", {"mpeg", "mpeg"}},
    {"aac", {"aac", "aac"}},
    {"ac3", {"ac3", "ac3"}},
    {"wav", {"x-wav", "x-wav"}},
    {"aiff", {"x-aiff", "x-aiff"}},
    {"flac", {"flac", "flac"}},
};

// The brands other than MPEG-4; the box that names the brand is the first one of the file.
struct brand_type {
  std::string_view brand;
  media_type type;
};

constexpr media_type quicktime = {"quicktime", "quicktime"};
constexpr brand_type brand_types[] = {
    {"qt  ", quicktime}, {"3gp", {"3gpp", "3gpp"}}, {"3g2", {"3gpp2", "3gpp2"}}};

// Files without a brand are from before there were any.
media_type mov_type(std::string_view head) {
  if (head.size() < 12 || head.substr(4, 4) != "ftyp") { return quicktime; }
  for (const brand_type& known : brand_types) {
    if (begins_with(head.substr(8), known.brand)) { return known.type; }
  }
  return {"mp4", "mp4"};
}

// The document type is a text after its tag and a length byte.
media_type matroska_type(std::string_view head) {
  const bool web = head.find("\x42\x82\x84webm") != std::string_view::npos;
  return web ? media_type{"webm", "webm"} : media_type{"x-matroska", "x-matroska"};
}

media_type type_of(std::string_view container, std::string_view head) {
  if (container == "mov") { return mov_type(head); }
  if (container == "matroska") { return matroska_type(head); }
  for (const container_type& known : container_types) {
    if (known.container == container) { return known.type; }
  }
  return {"x-unknown", "x-unknown"};
}

// A picture in one of the containers of films, such as AVIF, passes for a film of one frame.
bool is_still(const media_info& media, std::string_view container, const std::string& magic) {
  return media.still || (container == "mov" && begins_with(magic, "image/"));
}

}  // namespace

std::string item_type(const media_info& media, std::string_view head, const std::string& magic) {
  const std::string_view container =
      std::string_view(media.container).substr(0, media.container.find(','));
  if (is_still(media, container, magic)) { return magic; }
  const media_type type = type_of(container, head);
  if (media.picture() != nullptr) { return "video/" + std::string(type.video); }
  if (!media.audio.empty()) { return "audio/" + std::string(type.audio); }
  return magic;
}
