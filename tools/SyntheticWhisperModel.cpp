#include "tools/SyntheticWhisperModel.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <vector>

namespace murvelo {
namespace {

struct Dimensions {
  std::int32_t state, heads, layers;
};

constexpr std::int32_t kVocabulary = 51864;  // English-only models
constexpr std::int32_t kWords = 50256;       // the rest are special tokens whisper.cpp adds itself
constexpr std::int32_t kAudioContext = 1500;
constexpr std::int32_t kTextContext = 448;
constexpr std::int32_t kMels = 80;
constexpr std::int32_t kFftBins = 201;
constexpr std::int32_t kF32 = 0, kF16 = 1;

class Writer {
 public:
  Writer(std::ofstream& out, std::uint64_t seed) : out_(out), state_(seed * 0x9E3779B97F4A7C15ull + 1) {}

  void i32(std::int32_t value) { out_.write(reinterpret_cast<const char*>(&value), sizeof value); }
  void f32(float value) { out_.write(reinterpret_cast<const char*>(&value), sizeof value); }
  void bytes(const std::string& text) { out_.write(text.data(), static_cast<std::streamsize>(text.size())); }

  // One tensor: dimensions in ggml order (fastest first). Weights are uniform in ±scale, or the
  // constant `fill` when scale is 0.
  void tensor(const std::string& name, std::vector<std::int32_t> dims, std::int32_t type, float scale,
              float fill = 0) {
    i32(static_cast<std::int32_t>(dims.size()));
    i32(static_cast<std::int32_t>(name.size()));
    i32(type);
    std::int64_t count = 1;
    for (auto d : dims) {
      i32(d);
      count *= d;
    }
    bytes(name);
    if (type == kF32) {
      std::vector<float> values(static_cast<std::size_t>(count));
      for (auto& v : values) v = scale == 0 ? fill : scale * uniform();
      out_.write(reinterpret_cast<const char*>(values.data()),
                 static_cast<std::streamsize>(values.size() * 4));
    } else {
      std::vector<std::uint16_t> values(static_cast<std::size_t>(count));
      for (auto& v : values) v = half(scale == 0 ? fill : scale * uniform());
      out_.write(reinterpret_cast<const char*>(values.data()),
                 static_cast<std::streamsize>(values.size() * 2));
    }
  }

 private:
  float uniform() {  // xorshift64*, in [-1, 1)
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    std::uint64_t bits = state_ * 0x2545F4914F6CDD1Dull;
    return static_cast<float>(bits >> 40) / static_cast<float>(1 << 23) - 1.0f;
  }
  // IEEE half precision of a small finite value (round toward zero is plenty for noise).
  static std::uint16_t half(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, 4);
    std::uint32_t sign = (bits >> 16) & 0x8000u;
    std::int32_t exponent = static_cast<std::int32_t>((bits >> 23) & 0xff) - 127 + 15;
    std::uint32_t mantissa = (bits >> 13) & 0x3ffu;
    if (exponent <= 0) return static_cast<std::uint16_t>(sign);
    if (exponent >= 31) return static_cast<std::uint16_t>(sign | 0x7bffu);
    return static_cast<std::uint16_t>(sign | (static_cast<std::uint32_t>(exponent) << 10) | mantissa);
  }

  std::ofstream& out_;
  std::uint64_t state_;
};

// Triangular filters on the mel scale over the 201 bins of a 400-point FFT at 16 kHz.
std::vector<float> melFilters() {
  auto mel = [](double hz) { return 2595.0 * std::log10(1.0 + hz / 700.0); };
  auto hz = [](double m) { return 700.0 * (std::pow(10.0, m / 2595.0) - 1.0); };
  std::vector<double> edges(kMels + 2);
  for (int i = 0; i < kMels + 2; ++i) edges[i] = hz(mel(8000.0) * i / (kMels + 1));
  std::vector<float> filters(static_cast<std::size_t>(kMels) * kFftBins, 0.0f);
  for (int m = 0; m < kMels; ++m) {
    for (int bin = 0; bin < kFftBins; ++bin) {
      double f = bin * 8000.0 / (kFftBins - 1);
      double rise = (f - edges[m]) / (edges[m + 1] - edges[m]);
      double fall = (edges[m + 2] - f) / (edges[m + 2] - edges[m + 1]);
      filters[static_cast<std::size_t>(m) * kFftBins + bin] =
          static_cast<float>(std::max(0.0, std::min(rise, fall)));
    }
  }
  return filters;
}

void block(Writer& w, const std::string& prefix, std::int32_t n, bool cross) {
  const float s = 1.0f / std::sqrt(static_cast<float>(n));
  auto attention = [&](const std::string& ln, const std::string& attn) {
    w.tensor(prefix + ln + ".weight", {n}, kF32, 0, 1);
    w.tensor(prefix + ln + ".bias", {n}, kF32, 0);
    w.tensor(prefix + attn + ".query.weight", {n, n}, kF16, s);
    w.tensor(prefix + attn + ".query.bias", {n}, kF32, 0);
    w.tensor(prefix + attn + ".key.weight", {n, n}, kF16, s);
    w.tensor(prefix + attn + ".value.weight", {n, n}, kF16, s);
    w.tensor(prefix + attn + ".value.bias", {n}, kF32, 0);
    w.tensor(prefix + attn + ".out.weight", {n, n}, kF16, s);
    w.tensor(prefix + attn + ".out.bias", {n}, kF32, 0);
  };
  attention("attn_ln", "attn");
  if (cross) attention("cross_attn_ln", "cross_attn");
  w.tensor(prefix + "mlp_ln.weight", {n}, kF32, 0, 1);
  w.tensor(prefix + "mlp_ln.bias", {n}, kF32, 0);
  w.tensor(prefix + "mlp.0.weight", {n, 4 * n}, kF16, s);
  w.tensor(prefix + "mlp.0.bias", {4 * n}, kF32, 0);
  w.tensor(prefix + "mlp.2.weight", {4 * n, n}, kF16, s / 2);
  w.tensor(prefix + "mlp.2.bias", {n}, kF32, 0);
}

}  // namespace

bool SyntheticWhisperModel::parseArchitecture(const std::string& name, Architecture& out) {
  if (name == "tiny.en")
    out = Architecture::tinyEn;
  else if (name == "base.en")
    out = Architecture::baseEn;
  else
    return false;
  return true;
}

Status SyntheticWhisperModel::write(const std::filesystem::path& file, Architecture architecture,
                                    std::uint64_t seed) {
  Dimensions d = architecture == Architecture::tinyEn ? Dimensions{384, 6, 4} : Dimensions{512, 8, 6};
  std::filesystem::path partial = file;
  partial += ".partial";
  {
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    if (!out) return Status::error("cannot create " + partial.string());
    Writer w(out, seed);
    w.i32(0x67676d6c);
    for (std::int32_t v : {kVocabulary, kAudioContext, d.state, d.heads, d.layers, kTextContext, d.state,
                           d.heads, d.layers, kMels, kF16})
      w.i32(v);
    w.i32(kMels);
    w.i32(kFftBins);
    for (float f : melFilters()) w.f32(f);
    // Word pieces that read as nonsense syllables, most with a leading space like real tokens.
    w.i32(kWords);
    static const char* kSyllables[] = {"ka", "lo", "mi", "ne", "su", "ta",
                                       "ri", "vo", "de", "pa", "zu", "fe"};
    for (std::int32_t i = 0; i < kWords; ++i) {
      // The printable characters come first, as in the real vocabulary: the decoder looks some
      // of them up by text (" " for blank suppression).
      if (i < 95) {
        std::string single(1, static_cast<char>(' ' + i));
        w.i32(1);
        w.bytes(single);
        continue;
      }
      std::string word = (i % 3 == 0) ? "" : " ";
      word += kSyllables[i % 12];
      word += kSyllables[(i / 12) % 12];
      if (i % 7 == 0) word += kSyllables[(i / 144) % 12];
      w.i32(static_cast<std::int32_t>(word.size()));
      w.bytes(word);
    }
    const std::int32_t n = d.state;
    w.tensor("encoder.positional_embedding", {n, kAudioContext}, kF32, 0.02f);
    w.tensor("encoder.conv1.weight", {3, kMels, n}, kF16, 0.1f);
    w.tensor("encoder.conv1.bias", {1, n}, kF32, 0);
    w.tensor("encoder.conv2.weight", {3, n, n}, kF16, 0.05f);
    w.tensor("encoder.conv2.bias", {1, n}, kF32, 0);
    for (std::int32_t i = 0; i < d.layers; ++i)
      block(w, "encoder.blocks." + std::to_string(i) + ".", n, false);
    w.tensor("encoder.ln_post.weight", {n}, kF32, 0, 1);
    w.tensor("encoder.ln_post.bias", {n}, kF32, 0);
    w.tensor("decoder.positional_embedding", {n, kTextContext}, kF32, 0.02f);
    w.tensor("decoder.token_embedding.weight", {n, kVocabulary}, kF16, 0.05f);
    for (std::int32_t i = 0; i < d.layers; ++i)
      block(w, "decoder.blocks." + std::to_string(i) + ".", n, true);
    w.tensor("decoder.ln.weight", {n}, kF32, 0, 1);
    w.tensor("decoder.ln.bias", {n}, kF32, 0);
    out.flush();
    if (!out) return Status::error("cannot write " + partial.string());
  }
  std::error_code error;
  std::filesystem::rename(partial, file, error);
  if (error) return Status::error("cannot move the model into place: " + error.message());
  return Status::ok();
}

}  // namespace murvelo
