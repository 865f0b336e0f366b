// What the tools of the service read and write. In the place of ffmpeg, which takes too long for
// thousands of tries, a few system calls open the same URL in the same way.
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tests/races/attacker.h"
#include "tests/races/race.h"
#include "tools/job_log/job_log.h"
#include "tools/media/left_parts.h"
#include "tools/media/output_file.h"
#include "tools/media/source_file.h"
#include "tools/qxmi_remote_transcode/upload_folder.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds patience{100};

constexpr const char* films = "/mnt/open/films";
constexpr const char* film = "/mnt/open/films/film.mpg";
constexpr const char* link_to_private = "/mnt/open/link";
constexpr const char* link_to_film = "/mnt/open/films/link";
constexpr const char* output_metadata = "/mnt/main/tv/vod/.film.mp4.metadata";
constexpr const char* output_link = "/mnt/main/tv/vod/link";
constexpr const char* picture = "/mnt/main/tv/vod/.film.mp4.metadata/vod.thumbnail.jpg";
constexpr const char* left_part = "/mnt/open/films/.qx-part-0";
constexpr const char* log_of_film = "/mnt/open/films/.film.mpg.metadata/vod.log";
constexpr const char* private_film = "/mnt/private/film.mpg";
constexpr const char* private_picture = "/mnt/private/vod.thumbnail.jpg";

std::string what_was_read;

void make_media() {
  what_was_read.clear();
  make_folder(films, 0777);
  write_text(film, "film");
  make_folder(std::string(films) + "/.film.mpg.metadata");
  make_link(link_to_private, private_folder);
  make_link(link_to_film, private_film);
  make_folder(output_metadata, 0777);
  make_link(output_link, private_folder);
}

std::string path_of(const std::string& url) {
  return url.substr(url.find(':') + 1);
}

// As the engine does.
void write_by_url(const std::string& url) {
  const unique_fd file(open(path_of(url).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  write_all(file.get(), "made");
}

// The start of an engine gives the attacker time.
void wait_as_for_engine(const output_file& output) {
  constexpr int most_looks = 2000;
  std::error_code ignored;
  for (int i = 0;
       i < most_looks && !fs::is_symlink(fs::symlink_status(output.temporary_path(), ignored));
       ++i) {
    usleep(100);
  }
}

void make_result(const char* path) {
  std::string error;
  output_file output;
  if (!output.create(path, error, patience)) { return; }
  wait_as_for_engine(output);
  write_by_url(output.url());
  output.commit(error);
}

// The engine given the name of the unfinished result.
void make_result_by_path(const char* path) {
  std::string error;
  output_file output;
  if (!output.create(path, error, patience)) { return; }
  wait_as_for_engine(output);
  write_by_url("file:" + output.temporary_path());
  output.commit(error);
}

void read_source(const char* path) {
  std::string error;
  source_file source;
  if (source.open(path, error)) { what_was_read = text_of(path_of(source.url())); }
}

void send_source() {
  std::string error;
  source_file source;
  upload_folder folder;
  if (!source.open(film, error) || !folder.create(error)) { return; }
  folder.link("name", source.fd(), error);
  what_was_read = text_of(folder.link_path());
}

void log_job() {
  char program[] = "program";
  char* arguments[] = {program, nullptr};
  open_job_log_and_folder(program, std::string(films) + "/.film.mpg.metadata", film,
                          {1, arguments});
  close_job_log(0, 0);
}

bool private_film_was_read() {
  return what_was_read == "private";
}

bool film_was_read() {
  return what_was_read == "film";
}

race reading(const char* name, std::function<void()> attack, std::function<void()> step) {
  return {name,
          make_media,
          std::move(attack),
          std::move(step),
          [] { what_was_read = text_of(film); },
          film_was_read,
          private_film_was_read};
}

bool is_made(const char* path) {
  return text_of(path) == "made";
}

race writing(const char* name, std::function<void()> attack, const char* path) {
  return {name,
          make_media,
          std::move(attack),
          [path] { make_result(path); },
          [path] { make_result_by_path(path); },
          [path] { return is_made(path); }};
}

// A result that a killed tool has left; there is one of this name in the private folder, too.
void make_left_part() {
  make_media();
  write_text(left_part, "part");
}

void remove_left_parts_by_path() {
  fs::remove(left_part);
}

}  // namespace

std::vector<race> tool_races() {
  return {
      writing("film written, unfinished file replaced by a link",
              plant_for_parts(output_folder, private_film), "/mnt/main/tv/vod/film.mp4"),
      writing("picture written, unfinished file replaced by a link",
              plant_for_parts(output_metadata, private_picture), picture),
      {"picture written, metadata folder replaced by a link", make_media,
       exchange(output_metadata, output_link), [] { make_result(picture); },
       [] { write_text(picture, "made"); }, [] { return is_made(picture); }},
      {"result renamed, folder replaced by a link", make_media, exchange(films, link_to_private),
       [] { make_result("/mnt/open/films/result"); },
       [] { write_text("/mnt/open/films/result", "made"); },
       [] { return is_made("/mnt/open/films/result"); }},
      {"left results removed, folder replaced by a link", make_left_part,
       exchange(films, link_to_private), [] { make_result("/mnt/open/films/new"); },
       remove_left_parts_by_path, [] { return !fs::exists(left_part); }},
      reading("source read, replaced by a link", exchange(film, link_to_film),
              [] { read_source(film); }),
      reading("source read, folder replaced by a link", exchange(films, link_to_private),
              [] { read_source(film); }),
      reading("source sent, replaced by a link", exchange(film, link_to_film), send_source),
      {"log written, folder of the media replaced by a link", make_media,
       exchange(films, link_to_private), log_job, [] { write_text(log_of_film, "log"); },
       [] { return !text_of(log_of_film).empty(); }},
  };
}

}  // namespace qx_test
