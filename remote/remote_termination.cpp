// Judges the end of a remote step's tool, and the reply of a request.
#include <string>

#include "platform/wait_status.h"
#include "queue/item_texts.h"
#include "queue/queue_item.h"
#include "remote/download.h"
#include "service/process_state.h"

namespace {

constexpr char json_type[] = "application/json";
constexpr unsigned http_ok = 200;
constexpr unsigned http_not_found = 404;

// Exit codes of the HTTP client and of the download tool that have words of their own.
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

// The first comm header "entry id"; null where there is none. An empty one counts as none.
const std::string* find_entry_id(const QueueItem::CurlVodCGIResponse& response) {
  for (const auto& [name, value] : response.comm_headers) {
    if (name == "entry id") { return value.empty() ? nullptr : &value; }
  }
  return nullptr;
}

std::string quoted(const std::string& text) {
  return text.empty() ? "" : " \"" + text + "\"";
}

}  // namespace

// What ends after the user moved the item on changes nothing but this: a source that arrived is not
// sent again.
void QueueItem::on_remote_proc_terminate(int wait_status) {
  const bool ok = has_succeeded(wait_status);
  if (proc_sm.remote.state == REMOTE_UPLOAD) {
    on_upload_terminate(ok);
    return;
  }
  if (sm.state == TRANSCODE_REMOTE) {
    switch (proc_sm.remote.state) {
    case REMOTE_ADD:
      on_add_terminate(wait_status);
      break;
    case REMOTE_MONITOR:
      on_monitor_terminate(wait_status);
      break;
    case REMOTE_DOWNLOAD:
      on_download_terminate(wait_status);
      break;
    case REMOTE_COMMAND:
      on_command_terminate(wait_status);
      break;
    default:
      break;
    }
  }
  fileops_write_status();
}

void QueueItem::on_upload_terminate(bool ok) {
  const bool is_live = sm.state == TRANSCODE_REMOTE;
  if (ok) {
    uploaded = true;
    trigger_transcode_queue_scan();
    if (is_live && sm.remote.state == REMOTE_UPLOAD) { sm.remote.advance(); }
  } else if (is_live) {
    cancel_with("Unable to send file to remote");
  }
  fileops_write_status();
}

QueueItem::CurlVodCGIResponse QueueItem::read_remote_reply() {
  CurlVodCGIResponse response;
  stdout_cgi_stdout_read_http_response(response);
  stdout_cgi_stdout_read_http_headers(response);
  stdout_cgi_stdout_read_comm_headers(response);
  if (response.content_type == json_type) {
    stdout_cgi_stdout_read_json_body(response);
    remote_info.json = response.json;
    remote_view.is_read = false;
  }
  return response;
}

// True, with the item cancelled, when the reply says that the remote job is no more.
bool QueueItem::is_lost_reply(const CurlVodCGIResponse& response) {
  std::string error;
  if (response.http_status != http_not_found || !response.comm_get_err(error) ||
      error != "NOT FOUND") {
    return false;
  }
  cancel();
  remote_info.clear();
  state_message = "Remote item: lost track of the item";
  return true;
}

void QueueItem::cancel_unexpected_content(const CurlVodCGIResponse& response) {
  cancel_with("Remote server: Unexpected response, content type " + response.content_type);
  response.dump();
}

void QueueItem::on_add_terminate(int wait_status) {
  if (has_succeeded(wait_status)) {
    on_add_reply(read_remote_reply());
  } else {
    cancel_with("Unable to add file to remote" + request_error_suffix(wait_status));
  }
}

void QueueItem::on_add_reply(const CurlVodCGIResponse& response) {
  if (response.http_status != http_ok) {
    cancel_http_error(response);
    return;
  }
  if (response.content_type != json_type) {
    cancel_unexpected_content(response);
    return;
  }
  const std::string* const id = find_entry_id(response);
  if (id == nullptr) {
    cancel_with("Remote server: did not return entry id");
    response.dump();
    return;
  }
  remote_info.entry_id = *id;
  state_message = text_transcoding;
  if (sm.remote.state == REMOTE_ADD) { sm.remote.advance(); }
  on_remote_job_json_update();
}

void QueueItem::cancel_http_error(const CurlVodCGIResponse& response) {
  std::string error;
  response.comm_get_err(error);
  std::string body;
  if (response.content_type == "text/plain") {
    stdout_cgi_stdout_read_text_body(body);  // before the cancel, which releases the buffer
  }
  cancel_with("Remote server: Error HTTP status " + std::to_string(response.http_status) + ", " +
              response.status_string + quoted(error) + quoted(body));
  response.dump();
}

// A poll that failed is tried again; only the text tells of it.
void QueueItem::on_monitor_terminate(int wait_status) {
  if (!has_succeeded(wait_status)) {
    state_message =
        "Remote item: status temporarily unavailable" + request_error_suffix(wait_status);
    return;
  }
  const CurlVodCGIResponse response = read_remote_reply();
  if (is_lost_reply(response) || response.http_status != http_ok) { return; }
  if (response.content_type == json_type) {
    on_remote_job_json_update();
  } else {
    cancel_unexpected_content(response);
  }
}

// The download tool also ends well where it found more than there is over there, or got less. What
// has a wrong size cannot be continued, so that the next try starts from nothing.
void QueueItem::on_download_terminate(int wait_status) {
  read_download_progress();
  if (!has_succeeded(wait_status)) {
    cancel_with("Remote item: download failed" + download_error_suffix(wait_status));
    return;
  }
  if (!has_announced_size(*this)) {
    discard_download(*this);
    cancel_with("Remote item: download failed. Wrong size");
    return;
  }
  state_message = "Remote item: download complete";
  if (sm.remote.state == REMOTE_DOWNLOAD) { sm.remote.advance(); }
  progress = progress_complete;
}

void QueueItem::on_command_terminate(int wait_status) {
  if (!has_succeeded(wait_status)) {
    cancel();
    remote_info.clear();
    state_message = "Remote item: command failed";
    return;
  }
  sm.remote_command.clear();
  const CurlVodCGIResponse response = read_remote_reply();
  if (is_lost_reply(response)) { return; }
  if (response.http_status == http_ok) {
    if (response.content_type == json_type) {
      on_remote_job_json_update();
    } else {
      cancel_unexpected_content(response);
    }
  }
  if (sm.state != TRANSCODE_REMOTE) { return; }
  if (user_wants_cancel) {
    cancel();
  } else if (sm.remote.state == REMOTE_COMMAND) {
    sm.remote.set_state(REMOTE_MONITOR);
  }
}
