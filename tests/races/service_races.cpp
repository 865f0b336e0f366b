// What the service itself writes and removes: sources after "delete on finish", files next to an
// output, job directories.
#include <cstdio>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fileops/sweep.h"
#include "platform/metadata_v4.h"
#include "queue/queue_item.h"
#include "tests/races/attacker.h"
#include "tests/races/race.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr const char* films = "/mnt/open/films";
constexpr const char* other_films = "/mnt/open/others";
constexpr const char* link_to_private = "/mnt/open/link";
constexpr const char* film = "/mnt/open/films/film.mpg";
constexpr const char* film_metadata = "/mnt/open/films/.film.mpg.metadata";

constexpr const char* output_metadata = "/mnt/main/tv/vod/.film.mp4.metadata";
constexpr const char* output_link = "/mnt/main/tv/vod/link";
constexpr const char* summary = "/mnt/main/tv/vod/.film.mp4.metadata/.transcode";
constexpr const char* ready_marker = "/mnt/main/tv/vod/.film.mp4.metadata/.vod.ready";
constexpr const char* copied_metadata = "/mnt/main/tv/vod/.film.mp4.metadata/.vod.metadata";
constexpr const char* summary_link = "/mnt/main/tv/vod/.film.mp4.metadata/link";

constexpr const char* jobs_link = "/mnt/main/tv/fileops/jobs/link";
constexpr const char* unknown_job = "/mnt/main/tv/fileops/jobs/7";

std::unique_ptr<QueueItem> item;

void make_films(const std::string& folder, const std::string& text) {
  make_folder(folder);
  make_folder(folder + "/.film.mpg.metadata");
  write_text(folder + "/film.mpg", text);
  write_text(folder + "/.film.mpg.metadata/metadata", "title=" + text + "\n");
}

// The item whose source was judged and whose output's metadata directory exists.
void make_item() {
  make_films(films, "film");
  make_link(link_to_private, private_folder);
  make_link(output_link, private_folder);
  make_link(jobs_link, private_folder);
  item = std::make_unique<QueueItem>();
  item->set_input_file(film);
  item->set_output_file("/mnt/main/tv/vod/film.mp4");
  item->sm.set_state(TRANSCODE_READY);
  item->validate_ready();
}

void make_finished_item(cleanup_states step) {
  make_item();
  make_films(other_films, "another");
  item->sm.set_state(TRANSCODE_CLEANUP);
  item->sm.cleanup.set_state(step);
}

void wait_for_child() {
  if (item->proc_pid > 0) { waitpid(item->proc_pid, nullptr, 0); }
  item->proc_pid = -1;
}

void remove_film() {
  item->proc_start_unlink_input_file();
  wait_for_child();
}

void remove_metadata() {
  item->proc_start_unlink_input_file_metadata();
  wait_for_child();
}

// Under whichever name the other folder is now.
bool other_film_is_gone() {
  return text_of(film) != "another" && text_of(std::string(other_films) + "/film.mpg") != "another";
}
bool other_metadata_are_gone() {
  return text_of(std::string(film_metadata) + "/metadata") != "title=another\n" &&
         text_of(std::string(other_films) + "/.film.mpg.metadata/metadata") != "title=another\n";
}

race removal(const char* name, cleanup_states step, const char* exchanged) {
  const bool is_file = step == CLEANUP_UNLINK_META;
  race made;
  made.name = name;
  made.prepare = [=] { make_finished_item(step); };
  made.attack = exchange(films, exchanged);
  made.step = is_file ? remove_film : remove_metadata;
  made.unguarded = [=] {
    unlink(is_file ? film : (std::string(film_metadata) + "/metadata").c_str());
  };
  made.done = [=] { return !fs::exists(is_file ? film : film_metadata); };
  made.also_won = is_file ? other_film_is_gone : other_metadata_are_gone;
  return made;
}

// A file in the output's metadata directory, which a link to the private folder replaces.
race file_beside_output(const char* name, const std::string& path, std::function<void()> step,
                        std::function<bool()> done) {
  return {name,
          make_item,
          exchange(output_metadata, output_link),
          std::move(step),
          [path] { write_text(path, "written"); },
          std::move(done)};
}

race file_beside_output(const char* name, const char* path, std::function<void()> step) {
  return file_beside_output(name, path, std::move(step), [path] { return fs::exists(path); });
}

void write_status() {
  item->state_message = "raced";
  item->fileops_write_status();
}

bool has_status(const std::string& path) {
  return text_of(path).find("state=raced\n") != std::string::npos;
}
bool summary_is_written() {
  return has_status(summary);
}
bool status_is_written() {
  return has_status(item->fileops_job_dir + "/status");
}

void attack_job() {
  renameat2(AT_FDCWD, item->fileops_job_dir.c_str(), AT_FDCWD, jobs_link, RENAME_EXCHANGE);
}

std::string job_to_remove;

void make_job() {
  make_item();
  job_to_remove = item->fileops_job_dir;
}

void remove_job_by_path() {
  unlink((item->fileops_job_dir + "/copy_pid").c_str());
  unlink((item->fileops_job_dir + "/status").c_str());
}

void make_unknown_job() {
  make_link(jobs_link, private_folder);
  make_folder(unknown_job);
  write_text(std::string(unknown_job) + "/status", "op=vod\n");
}

void write_metadata_of(const char* media) {
  QueueItem::metadata written;
  written.context = metadata_v4_context_create();
  written.entries = metadata_v4_metadata_context_create();
  metadata_v4_context_set_file_location(written.context, media);
  metadata_v4_metadata_context_write_entry(written.entries, "title", "raced");
  metadata_v4_metadata_context_write_metadata_to_file(written.entries, written.context, nullptr);
  written.close();
}

}  // namespace

std::vector<race> service_races() {
  return {
      removal("source removed, folder replaced by a link", CLEANUP_UNLINK_META, link_to_private),
      removal("source removed, folder exchanged", CLEANUP_UNLINK_META, other_films),
      removal("metadata removed, folder replaced by a link", CLEANUP_UNLINK_FILE, link_to_private),
      removal("metadata removed, folder exchanged", CLEANUP_UNLINK_FILE, other_films),
      file_beside_output("summary, metadata folder replaced by a link", summary, write_status,
                         summary_is_written),
      file_beside_output("ready marker, metadata folder replaced by a link", ready_marker,
                         [] { item->mark_vod_ready(); }),
      file_beside_output("metadata copied, folder replaced by a link", copied_metadata,
                         [] { item->vod_copy_from_source(); }),
      {"summary replaced by a link",
       [] {
         make_item();
         fs::permissions(output_metadata, fs::perms::all);
         make_link(summary_link, std::string(private_folder) + "/.transcode");
       },
       exchange(summary, summary_link), write_status, [] { write_text(summary, "written"); },
       summary_is_written},
      {"status, job directory replaced by a link", make_item, attack_job, write_status,
       [] { write_text(item->fileops_job_dir + "/status", "written"); }, status_is_written},
      {"job removed, directory replaced by a link", make_job, attack_job,
       [] { item->fileops_remove_job(); }, remove_job_by_path,
       [] { return !fs::exists(job_to_remove); }},
      {"unknown job swept, directory replaced by a link", make_unknown_job,
       exchange(unknown_job, jobs_link), markdown_unknown_vod_fileops,
       [] { unlink((std::string(unknown_job) + "/status").c_str()); },
       [] { return !fs::exists(unknown_job); }},
      {"metadata written, folder of the media replaced by a link", make_item,
       exchange(films, link_to_private), [] { write_metadata_of(film); },
       [] { write_text(std::string(film_metadata) + "/metadata", "written"); },
       [] { return text_of(std::string(film_metadata) + "/metadata") == "title=raced\n"; }},
      {"metadata folder made, folder of the media replaced by a link", make_item,
       exchange(films, link_to_private), [] { write_metadata_of("/mnt/open/films/new.mpg"); },
       [] { fs::create_directory("/mnt/open/films/.new.mpg.metadata"); },
       [] { return fs::exists("/mnt/open/films/.new.mpg.metadata"); }},
  };
}

}  // namespace qx_test
