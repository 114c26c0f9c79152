#include "speech/WhisperModelFile.h"

#include <array>
#include <fstream>
#include <optional>

namespace murvelo {
namespace {

constexpr std::uint32_t kMagic = 0x67676d6c;  // "ggml"

// Bytes per block and values per block of the tensor types whisper.cpp model files use.
struct TensorType {
  std::int32_t id;
  std::int64_t blockBytes;
  std::int64_t blockValues;
};
constexpr std::array<TensorType, 7> kTypes{{
    {0, 4, 1},    // f32
    {1, 2, 1},    // f16
    {2, 18, 32},  // q4_0
    {3, 20, 32},  // q4_1
    {6, 22, 32},  // q5_0
    {7, 24, 32},  // q5_1
    {8, 34, 32},  // q8_0
}};

std::optional<TensorType> tensorType(std::int32_t id) {
  for (const auto& type : kTypes)
    if (type.id == id) return type;
  return std::nullopt;
}

class Reader {
 public:
  explicit Reader(std::ifstream& in) : in_(in) {}
  bool i32(std::int32_t& value) { return bytes(&value, sizeof value); }
  bool u32(std::uint32_t& value) { return bytes(&value, sizeof value); }
  bool bytes(void* out, std::size_t count) {
    in_.read(static_cast<char*>(out), static_cast<std::streamsize>(count));
    position_ += in_.gcount();
    return static_cast<std::size_t>(in_.gcount()) == count;
  }
  std::int64_t position() const { return position_; }
  // Forward only, and never past the end: a count from a hostile header cannot loop or overflow.
  bool skip(std::int64_t count, std::int64_t fileSize) {
    const std::int64_t at = position_;
    if (count < 0 || count > fileSize - at) return false;
    position_ += count;
    // Short skips (the words of the vocabulary) stay in the stream's buffer; a seek would drop it.
    if (count < 65536) {
      in_.ignore(static_cast<std::streamsize>(count));
      return in_.gcount() == count;
    }
    const std::int64_t target = at + count;
    in_.seekg(target);
    return static_cast<bool>(in_);
  }

 private:
  std::ifstream& in_;
  std::int64_t position_ = 0;
};

// The published architectures: a header that matches none of them is not handed to whisper.cpp,
// which asserts (aborts the program) on some inconsistent shapes instead of refusing them.
struct Architecture {
  std::int32_t state, heads, layers;
};
constexpr std::array<Architecture, 5> kArchitectures{{
    {384, 6, 4},     // tiny
    {512, 8, 6},     // base
    {768, 12, 12},   // small
    {1024, 16, 24},  // medium
    {1280, 20, 32},  // large
}};

// whisper.cpp's file types (ggml_ftype) it can load, and their weight tensor type.
std::optional<std::int32_t> weightType(std::int32_t ftype) {
  switch (ftype) {
    case 0: return 0;  // all f32
    case 1: return 1;  // f16
    case 2: return 2;  // q4_0
    case 3: return 3;  // q4_1
    case 7: return 8;  // q8_0
    case 8: return 6;  // q5_0
    case 9: return 7;  // q5_1
    default: return std::nullopt;
  }
}

}  // namespace

std::string WhisperModelInfo::size() const {
  switch (audioLayers) {
    case 4: return "tiny";
    case 6: return "base";
    case 12: return "small";
    case 24: return "medium";
    case 32: return "large";
    default: return "unknown";
  }
}

Result<WhisperModelInfo, std::string> inspectWhisperModel(const std::filesystem::path& file) {
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found)
    return std::string("model file not found: ") + file.string();
  if (status.type() == std::filesystem::file_type::directory)
    return std::string("model path is a folder, not a model file: ") + file.string();
  if (status.type() != std::filesystem::file_type::regular)
    return std::string("model path is not a regular file: ") + file.string();
  auto fileSize = static_cast<std::int64_t>(std::filesystem::file_size(file, error));
  if (error) return std::string("model file cannot be read: ") + file.string() + ": " + error.message();
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::string("model file cannot be opened: ") + file.string();
  Reader read(in);
  const std::string truncated = "model file is truncated: " + file.string();

  std::uint32_t magic = 0;
  if (!read.u32(magic) || magic != kMagic) return std::string("not a whisper model file: ") + file.string();

  WhisperModelInfo info;
  std::int32_t audioHeads = 0, textState = 0, textHeads = 0;
  for (std::int32_t* field :
       {&info.vocabulary, &info.audioContext, &info.state, &audioHeads, &info.audioLayers, &info.textContext,
        &textState, &textHeads, &info.textLayers, &info.mels, &info.ftype}) {
    if (!read.i32(*field)) return truncated;
  }
  info.heads = audioHeads;
  bool plausible = info.vocabulary > 50000 && info.vocabulary < 52000 && info.audioContext > 0 &&
                   info.audioContext <= 1500 && info.state > 0 && info.state == textState && audioHeads > 0 &&
                   info.audioLayers > 0 && info.audioLayers <= 64 && info.textLayers > 0 &&
                   info.textLayers <= 64 && (info.mels == 80 || info.mels == 128) && info.textContext > 0 &&
                   info.textContext <= 448;
  if (!plausible) return std::string("not a whisper model (implausible dimensions): ") + file.string();
  bool known = false;
  for (const auto& architecture : kArchitectures) {
    known = known || (info.state == architecture.state && audioHeads == architecture.heads &&
                      textHeads == architecture.heads && info.audioLayers == architecture.layers &&
                      info.textLayers == architecture.layers);
  }
  const bool large = info.audioLayers == 32;
  known = known && info.audioContext == 1500 && info.textContext == 448 &&
          (info.vocabulary == 51864 || info.vocabulary == 51865 || (large && info.vocabulary == 51866)) &&
          (info.mels == 80 || (large && info.vocabulary == 51866 && info.mels == 128));
  if (!known) return std::string("not a known whisper model architecture: ") + file.string();
  // The thousands count the quantisation format's version, of which whisper.cpp knows two.
  const auto weights =
      info.ftype >= 0 && info.ftype / 1000 <= 2 ? weightType(info.ftype % 1000) : std::nullopt;
  if (!weights) return std::string("not a whisper model (unknown weight format): ") + file.string();

  std::int32_t filterMels = 0, filterBins = 0;
  if (!read.i32(filterMels) || !read.i32(filterBins)) return truncated;
  if (filterMels != info.mels || filterBins != 201)
    return std::string("not a whisper model (bad mel filters): ") + file.string();
  if (!read.skip(std::int64_t{filterMels} * filterBins * 4, fileSize)) return truncated;

  std::int32_t words = 0;
  if (!read.i32(words)) return truncated;
  if (words < 0 || words > info.vocabulary)
    return std::string("not a whisper model (bad vocabulary): ") + file.string();
  for (std::int32_t i = 0; i < words; ++i) {
    std::uint32_t length = 0;
    if (!read.u32(length)) return truncated;
    if (length > 4096) return std::string("not a whisper model (bad vocabulary): ") + file.string();
    if (!read.skip(length, fileSize)) return truncated;
  }

  const int expected = 11 + 15 * info.audioLayers + 24 * info.textLayers;
  while (read.position() < fileSize) {
    if (info.tensors >= expected)
      return std::string("not a whisper model (extra data after the tensors): ") + file.string();
    std::int32_t dims = 0, nameLength = 0, type = 0;
    if (!read.i32(dims) || !read.i32(nameLength) || !read.i32(type)) return truncated;
    auto tensor = tensorType(type);
    if (dims < 1 || dims > 4 || nameLength < 1 || nameLength > 256 || !tensor ||
        (type != 0 && type != 1 && type != *weights))
      return std::string("not a whisper model (bad tensor header): ") + file.string();
    std::int64_t values = 1;
    for (std::int32_t d = 0; d < dims; ++d) {
      std::int32_t extent = 0;
      if (!read.i32(extent)) return truncated;
      // No tensor holds more values than the file has bytes; checking that also keeps the product
      // from overflowing.
      if (extent <= 0 || values > fileSize / extent)
        return std::string("not a whisper model (bad tensor shape): ") + file.string();
      values *= extent;
    }
    if (!read.skip(nameLength, fileSize)) return truncated;
    if (values % tensor->blockValues != 0)
      return std::string("not a whisper model (bad tensor shape): ") + file.string();
    if (!read.skip(values / tensor->blockValues * tensor->blockBytes, fileSize)) return truncated;
    ++info.tensors;
  }
  if (info.tensors != expected) return truncated;
  return info;
}

}  // namespace murvelo
