// What the HTTP client prints of a remote server's reply.
#include <cstring>

#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"
#include "tests/fuzz/fuzz_target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QueueItem item;
  QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size);
  const std::size_t length = size < proc_buffer_size ? size : proc_buffer_size;
  if (length > 0) { memcpy(item.proc_stdout_buffer->write_pos, data, length); }
  item.proc_stdout_buffer->write_pos += length;
  QueueItem::CurlVodCGIResponse response;
  item.stdout_cgi_stdout_read_http_response(response);
  item.stdout_cgi_stdout_read_http_headers(response);
  item.stdout_cgi_stdout_read_comm_headers(response);
  item.stdout_cgi_stdout_read_json_body(response);
  fuzz_expect(response.content_type.find(';') == std::string::npos,
              "the content type is without parameters");
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n";
  return {head + "entry id:0f8b1c2d-0000-4abc-8def-0123456789ab\n\n{\"list\": []}",
          head + "X-comm-error:NOT FOUND\n\n", head + "\n{\"a\": [1, 2.5e3, \"\\u00e4\"]}",
          "HTTP/1.0 404 Not Found\r\n\r\n", "HTTP/1.1 204\r\n"};
}
