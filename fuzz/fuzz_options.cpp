// Option parser: the input's NUL-separated words (at most 64) are the
// arguments after the command name: the lookups, the option table with its
// values and conflict rules, the strip options, the chunk completion, the
// option report and the input name's suffix.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/file_names.h"
#include "chunk/chunk_writer.h"
#include "chunk/write_start.h"
#include "frontend/options.h"
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Scratch();  // a silent console
  fuzz::QuietStderr quiet;
  std::vector<std::string> words = {"vkconv"};
  const char *text = reinterpret_cast<const char *>(data);
  for (size_t at = 0; at < size && words.size() < 65;) {
    const char *end = static_cast<const char *>(std::memchr(text + at, '\0', size - at));
    const size_t length = end ? static_cast<size_t>(end - (text + at)) : size - at;
    words.emplace_back(text + at, length);
    at += length + 1;
  }
  std::vector<char *> argv;
  for (std::string &word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const int argc = static_cast<int>(words.size());

  FindOption(argc, argv.data(), "-h", "-help");
  FindOptionValue(argc, argv.data(), "-gibase", nullptr);
  const int input = FindInputArgument(argc, argv.data(), 0);
  char inputName[kNameSize] = "";
  if (input >= 0 && std::strlen(argv[input]) < sizeof inputName) {
    std::strcpy(inputName, argv[input]);
    CheckSuffix(inputName, ".vka");
    if (std::strlen(inputName) >= sizeof inputName) std::abort();
  }
  ConvertOptions options;
  InitConvertOptions(&options, nullptr);
  ParseOptions(argc, argv.data(), &options);
  ParseStripOptions(argc, argv.data(), &options.modelFlags, &options.stripFlags);
  PrintOptionReportWords(options.modelFlags, options.outputFlags, 0, options.chunkFlags);
  CompleteChunkOptions(&options.chunkFlags, &options.stripFlags, &options.modelFlags);
  if ((options.chunkFlags & vkopt::kChunkModel) == 0) std::abort();
  return 0;
}
