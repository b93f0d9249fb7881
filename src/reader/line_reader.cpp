// The line reader: blocks of the file, lines cut in place in the block and
// tokenised on demand.
#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "reader/tokens.h"

namespace vkreader {

namespace {

size_t BlockSizeFor(std::FILE *file) {
  struct stat info {};
  const int fd = fileno(file);
  if (fd < 0 || fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return 1 << 20;
  const auto size = static_cast<size_t>(info.st_size) + 1;
  return std::clamp<size_t>(size, kLineSize, size_t{1} << 20);
}

}  // namespace

LineReader::LineReader(std::FILE *file)
    : file_(file), blockSize_(BlockSizeFor(file)), block_(new char[blockSize_ + 1]) {}

void LineReader::Restore() {
  if (cut_) block_[cutAt_] = cutByte_;
  cut_ = false;
}

void LineReader::Fill() {
  const size_t rest = end_ - begin_;
  std::memmove(block_.get(), block_.get() + begin_, rest);
  begin_ = 0;
  end_ = rest;
  while (!atEnd_ && end_ < blockSize_) {
    const size_t got = std::fread(block_.get() + end_, 1, blockSize_ - end_, file_);
    end_ += got;
    if (got == 0) atEnd_ = true;  // end of file or a read error (std::ferror tells)
  }
}

bool LineReader::ReadLine() {
  constexpr size_t kMostPerLine = kLineSize - 1;
  Restore();
  if (end_ - begin_ < kMostPerLine && !atEnd_) Fill();
  const size_t available = end_ - begin_;
  if (available == 0) {
    tokens_.count = 0;
    tokenized_ = firstKnown_ = true;
    first_ = {};
    return false;
  }
  char *start = block_.get() + begin_;
  const size_t most = available < kMostPerLine ? available : kMostPerLine;
  const void *newline = std::memchr(start, '\n', most);
  const size_t length = newline ? static_cast<size_t>(static_cast<const char *>(newline) - start) + 1 : most;
  begin_ += length;
  cutAt_ = begin_;
  cutByte_ = block_[cutAt_];
  block_[cutAt_] = '\0';
  cut_ = true;
  line_ = start;
  lineCount_++;
  tokenized_ = firstKnown_ = false;
  return true;
}

void LineReader::TokenizeLine() const {
  Tokenize(&tokens_, line_);
  tokenized_ = true;
}

void LineReader::FindFirst() const {
  first_ = FindFirstToken(line_);
  firstKnown_ = true;
}

void LineReader::Rewind() {
  std::rewind(file_);
  cut_ = false;
  begin_ = end_ = 0;
  atEnd_ = false;
  lineCount_ = 0;
  tokens_.count = 0;
  tokenized_ = firstKnown_ = true;
  first_ = {};
}

}  // namespace vkreader
