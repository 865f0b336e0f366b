// Evaluates how a remote step's tool ended, and the reply to a request.
#include <string>

#include "platform/wait_status.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "remote/download.h"
#include "remote/lifecycle_remote.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/texts.h"

namespace {

constexpr unsigned http_ok = 200;
constexpr unsigned http_not_found = 404;

// Exit codes of the HTTP client and the download tool that get their own text.
constexpr unsigned curl_cannot_connect = 7;
constexpr unsigned wget_network_error = 4;
constexpr unsigned wget_protocol_error = 7;

std::string request_error_suffix(int wait_status) {
  if (ended_by_signal(wait_status)) { return ""; }
  return exit_code(wait_status) == curl_cannot_connect
             ? ". Unable to connect to web interface"
             : ". Error code " + std::to_string(exit_code(wait_status));
}

std::string download_error_suffix(int wait_status) {
  if (ended_by_signal(wait_status)) { return ""; }
  switch (exit_code(wait_status)) {
  case wget_network_error:
    return ". Network error";
  case wget_protocol_error:
    return ". Protocol error";
  default:
    return ". Error code " + std::to_string(exit_code(wait_status));
  }
}

// The first comm header "entry id"; null if there is none or it is empty.
const std::string* find_entry_id(const QueueItem::CurlVodCGIResponse& response) {
  for (const auto& [name, value] : response.comm_headers) {
    if (name == key_entry_id) { return value.empty() ? nullptr : &value; }
  }
  return nullptr;
}

std::string quoted(const std::string& text) {
  return text.empty() ? "" : " \"" + text + "\"";
}

QueueItem::CurlVodCGIResponse read_remote_reply(QueueItem& item) {
  QueueItem::CurlVodCGIResponse response;
  item.stdout_cgi_stdout_read_http_response(response);
  item.stdout_cgi_stdout_read_http_headers(response);
  item.stdout_cgi_stdout_read_comm_headers(response);
  if (response.content_type == media_type_json) {
    item.stdout_cgi_stdout_read_json_body(response);
    item.remote_info.json = response.json;
    item.remote_view.is_read = false;
  }
  return response;
}

// Cancels the item and returns true if the reply says that the remote job no longer exists.
bool is_lost_reply(QueueItem& item, const QueueItem::CurlVodCGIResponse& response) {
  std::string error;
  if (response.http_status != http_not_found || !response.comm_get_err(error) ||
      error != status_not_found) {
    return false;
  }
  item.cancel();
  item.remote_info.clear();
  item.state_message = "Remote item: lost track of the item";
  return true;
}

void cancel_unexpected_content(QueueItem& item, const QueueItem::CurlVodCGIResponse& response) {
  item.cancel_with("Remote server: Unexpected response, content type " + response.content_type);
  response.dump();
}

void cancel_http_error(QueueItem& item, const QueueItem::CurlVodCGIResponse& response) {
  std::string error;
  response.comm_get_err(error);
  std::string body;
  if (response.content_type == media_type_text) {
    item.stdout_cgi_stdout_read_text_body(body);  // before the cancel, which releases the buffer
  }
  item.cancel_with("Remote server: Error HTTP status " + std::to_string(response.http_status) +
                   ", " + response.status_string + quoted(error) + quoted(body));
  response.dump();
}

void on_upload_terminate(QueueItem& item, bool ok) {
  const bool is_live = item.sm.state == TRANSCODE_REMOTE;
  if (ok) {
    item.uploaded = true;
    trigger_transcode_queue_scan();
    if (is_live && item.sm.remote.state == REMOTE_UPLOAD) { item.sm.remote.advance(); }
  } else if (is_live) {
    item.cancel_with(text_not_sent);
  }
  item.fileops_write_status();
}

void on_add_reply(QueueItem& item, const QueueItem::CurlVodCGIResponse& response) {
  if (response.http_status != http_ok) {
    cancel_http_error(item, response);
    return;
  }
  if (response.content_type != media_type_json) {
    cancel_unexpected_content(item, response);
    return;
  }
  const std::string* const id = find_entry_id(response);
  if (id == nullptr) {
    item.cancel_with("Remote server: did not return entry id");
    response.dump();
    return;
  }
  item.remote_info.entry_id = *id;
  item.state_message = text_transcoding;
  if (item.sm.remote.state == REMOTE_ADD) { item.sm.remote.advance(); }
  item.on_remote_job_json_update();
}

void on_add_terminate(QueueItem& item, int wait_status) {
  if (has_succeeded(wait_status)) {
    on_add_reply(item, read_remote_reply(item));
  } else {
    item.cancel_with("Unable to add file to remote" + request_error_suffix(wait_status));
  }
}

// A failed poll is retried; only the status text mentions it.
void on_monitor_terminate(QueueItem& item, int wait_status) {
  if (!has_succeeded(wait_status)) {
    item.state_message =
        "Remote item: status temporarily unavailable" + request_error_suffix(wait_status);
    return;
  }
  const QueueItem::CurlVodCGIResponse response = read_remote_reply(item);
  if (is_lost_reply(item, response) || response.http_status != http_ok) { return; }
  if (response.content_type == media_type_json) {
    item.on_remote_job_json_update();
  } else {
    cancel_unexpected_content(item, response);
  }
}

// The download tool also reports success if the existing file was too long or the transfer too
// short. A file of the wrong size cannot be continued, so the next attempt starts from scratch.
void on_download_terminate(QueueItem& item, int wait_status) {
  item.read_download_progress();
  if (!has_succeeded(wait_status)) {
    item.cancel_with("Remote item: download failed" + download_error_suffix(wait_status));
    return;
  }
  if (!keeps_own_output(item)) {
    item.cancel_with("Remote item: download failed. The output was replaced");
    return;
  }
  if (!has_announced_size(item)) {
    discard_download(item);
    item.cancel_with("Remote item: download failed. Wrong size");
    return;
  }
  item.state_message = "Remote item: download complete";
  if (item.sm.remote.state == REMOTE_DOWNLOAD) { item.sm.remote.advance(); }
  item.progress = progress_complete;
}

void on_command_terminate(QueueItem& item, int wait_status) {
  if (!has_succeeded(wait_status)) {
    item.cancel();
    item.remote_info.clear();
    item.state_message = "Remote item: command failed";
    return;
  }
  item.sm.remote_command.clear();
  const QueueItem::CurlVodCGIResponse response = read_remote_reply(item);
  if (is_lost_reply(item, response)) { return; }
  if (response.http_status == http_ok) {
    if (response.content_type == media_type_json) {
      item.on_remote_job_json_update();
    } else {
      cancel_unexpected_content(item, response);
    }
  }
  if (item.sm.state != TRANSCODE_REMOTE) { return; }
  if (item.user_wants_cancel) {
    item.cancel();
  } else if (item.sm.remote.state == REMOTE_COMMAND) {
    item.sm.remote.set_state(REMOTE_MONITOR);
  }
}

}  // namespace

// A step that ends after the user has changed the item's state is ignored, with one exception: a
// source that has arrived is not sent again.
void on_remote_proc_terminate(QueueItem& item, int wait_status) {
  const bool ok = has_succeeded(wait_status);
  if (item.proc_sm.remote.state == REMOTE_UPLOAD) {
    on_upload_terminate(item, ok);
    return;
  }
  if (item.sm.state == TRANSCODE_REMOTE) {
    switch (item.proc_sm.remote.state) {
    case REMOTE_ADD:
      on_add_terminate(item, wait_status);
      break;
    case REMOTE_MONITOR:
      on_monitor_terminate(item, wait_status);
      break;
    case REMOTE_DOWNLOAD:
      on_download_terminate(item, wait_status);
      break;
    case REMOTE_COMMAND:
      on_command_terminate(item, wait_status);
      break;
    default:
      break;
    }
  }
  item.fileops_write_status();
}
