// Feeds the parsers of what a server sends with what a fuzzer makes up, under the sanitizers: the
// first byte chooses the parser, the second how much of the text arrives in one read.
#include <algorithm>

// Whole, for the functions that they keep to themselves.
#include "../src/cvsRepository.cpp"
#include "../src/cvsStatus.cpp"
#include "../src/spawnProcess.cpp"

namespace {

// Cuts a text into lines, as the runner does when it arrives in reads of this size.
std::vector<std::string> cutLines(const char* text, std::size_t size, std::size_t readSize) {
  BufferList chunks;
  for (std::size_t at = 0; at < size; at += readSize) {
    const std::size_t count = std::min(readSize, size - at);
    std::unique_ptr<char[]> bytes(new char[count]);
    std::copy_n(text + at, count, bytes.get());
    chunks.emplace_back(static_cast<std::uint32_t>(count), std::move(bytes));
  }
  std::list<const char*> lines;
  const auto buffer = bufferListToStringList(chunks, lines);
  return {lines.begin(), lines.end()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const auto* const text = reinterpret_cast<const char*>(data) + 2;
  const auto lines = cutLines(text, size - 2, 1 + data[1]);
  CVSInterface provider;
  FileStatusMap records;
  switch (data[0] % 3) {
    case 0:
      provider.parseStatusOutput(&records, lines);
      break;
    case 1:
      for (const auto& line : lines) records[line.substr(0, line.find('\t'))];
      provider.parseEditorsOutput("/", &records, lines);
      break;
    default:
      readListing(lines, false);
      readListing(lines, true);
  }
  return 0;
}
