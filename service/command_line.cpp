#include "service/command_line.h"

#include <cstdio>
#include <cstring>

bool check_command_line(int argc, const char* const* argv) {
  if (argc < 2) { return true; }
  const char* const argument = argv[1];
  const char* const word = argument + strspn(argument, "-");
  if (word == argument) {
    fprintf(stderr, "Unexpected arg %s\n", argument);
  } else if (strcmp(word, "h") == 0 || strcmp(word, "help") == 0) {
    fprintf(stderr, "qx_vod_service [options]\n");
  } else {
    fprintf(stderr, "Unknown switch %s\n", word);
  }
  return false;
}
