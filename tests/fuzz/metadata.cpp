// The text of a metadata file.
#include "platform/metadata_entries.h"
#include "tests/fuzz/fuzz_target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  metadata_v4_metadata_context entries;
  if (!entries.parse(std::string(reinterpret_cast<const char*>(data), size))) { return 0; }
  const std::string text = entries.text();
  metadata_v4_metadata_context again;
  fuzz_expect(again.parse(text), "a text that was written can be read");
  fuzz_expect(again.text() == text, "it reads back the same");
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  return {"file type=video/mp2t\nduration=61.400\n",
          "a=\nb==\n a = b \n",
          "no entry\n",
          "title=two\\nlines\\\\\n",
          "a=1\r\na=2",
          ""};
}
