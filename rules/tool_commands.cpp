#include "rules/tool_commands.h"

std::vector<std::string> identify_command(const std::string& file) {
  return {identifier_program, "--daemon", "--identify", "--create-meta", "--file", file};
}

std::vector<std::string> thumbnail_command(const std::string& profile, const std::string& picture,
                                           const std::string& source) {
  return {thumbnail_program,
          "--keep-aspect-ratio",
          "--clip-aspect-ratio",
          "--jpeg-quality",
          "75",
          "--jpeg",
          "--height",
          profile,
          "-t",
          "random",
          "-o",
          picture,
          "--file",
          source,
          "--no-uid"};
}

std::vector<std::string> removal_command(const std::string& directory) {
  return {removal_program, "-Rfv", "--", directory};
}

std::vector<std::string> upload_command(const std::string& name, const std::string& source) {
  return {upload_program, name, source};
}

std::vector<std::string> request_command(const std::string& login) {
  return {http_client_program, "--silent", "-i",     "-X", "POST",
          "--data-binary",     "@-",       "--user", login};
}

std::string gateway_url(const std::string& address, const std::string& command) {
  return "http://" + address + "/reelstack4/vod.cgi?c=vodsrv&vc=" + command;
}

std::vector<std::string> download_command(const download_order& order) {
  return {download_program,
          "--continue",
          "--progress=dot",
          "--output-document=" + order.output,
          "--user=" + order.user,
          "--password=" + order.password,
          "ftp://" + order.address + "/" + order.far_output};
}
