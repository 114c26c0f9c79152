#include "accuracy/WER.h"

#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "base/Log.h"

namespace murvelo {
namespace {

// Compiled once per process. They are fixed texts, so a failure is a programming fault.
const icu::RegexPattern& compiled(const char* source) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError where;
  auto* pattern = icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(source), where, status);
  if (U_FAILURE(status) || pattern == nullptr) {
    Logger("accuracy").error(std::string("cannot compile a word error rate pattern: ") + source);
    std::abort();
  }
  return *pattern;
}

const icu::RegexPattern& thousandsSeparator() {
  static const icu::RegexPattern& pattern = compiled("(?<=\\d),(?=\\d{3}(?!\\d))");
  return pattern;
}

const icu::RegexPattern& dollarAmount() {
  static const icu::RegexPattern& pattern = compiled("\\$(\\d+)(?:\\.(\\d{2}))?(?!\\d)");
  return pattern;
}

icu::UnicodeString removeThousandsSeparators(const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(thousandsSeparator().matcher(text, status));
  if (U_FAILURE(status)) return text;
  icu::UnicodeString out = matcher->replaceAll(icu::UnicodeString(), status);
  return U_SUCCESS(status) ? out : text;
}

icu::UnicodeString spellOutDollars(const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(dollarAmount().matcher(text, status));
  if (U_FAILURE(status)) return text;
  icu::UnicodeString out;
  int32_t copiedTo = 0;
  while (matcher->find(status) && U_SUCCESS(status)) {
    int32_t start = matcher->start(status);
    out.append(text, copiedTo, start - copiedTo);
    out.append(matcher->group(1, status)).append(u" dollars");
    if (matcher->start(2, status) >= 0) {
      icu::UnicodeString cents = matcher->group(2, status);
      // Two digits: their integer value drops a leading zero ("05" is 5 cents).
      int value = 0;
      for (int32_t i = 0; i < cents.length(); ++i) value = value * 10 + u_charDigitValue(cents.char32At(i));
      if (value != 0)
        out.append(u" ").append(icu::UnicodeString::fromUTF8(std::to_string(value))).append(u" cents");
    }
    copiedTo = matcher->end(status);
  }
  if (U_FAILURE(status)) return text;
  out.append(text, copiedTo, text.length() - copiedTo);
  return out;
}

constexpr uint32_t kLetterOrNumber = U_GC_L_MASK | U_GC_N_MASK;

}  // namespace

std::vector<WER::Token> WER::normalize(std::string_view text) {
  // Invalid UTF-8 becomes U+FFFD, which is neither letter nor number and so separates words.
  icu::UnicodeString unicode =
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  unicode = spellOutDollars(removeThousandsSeparators(unicode));
  unicode.toLower();

  std::vector<Token> tokens;
  std::string current;
  auto flush = [&] {
    if (!current.empty()) tokens.push_back(std::move(current));
    current.clear();
  };
  for (int32_t i = 0; i < unicode.length();) {
    UChar32 c = unicode.char32At(i);
    i += U16_LENGTH(c);
    if (c == u'\'' || c == 0x2019) continue;  // don't and don’t are one word: dont
    if ((U_GET_GC_MASK(c) & kLetterOrNumber) != 0) {
      icu::UnicodeString(c).toUTF8String(current);
    } else {
      flush();
    }
  }
  flush();
  return tokens;
}

std::vector<WER::Op> WER::align(const std::vector<Token>& reference, const std::vector<Token>& hypothesis) {
  // Compare small integers, not strings, in the quadratic part.
  std::unordered_map<std::string_view, uint32_t> ids;
  auto intern = [&](const std::vector<Token>& tokens) {
    std::vector<uint32_t> out;
    out.reserve(tokens.size());
    for (const auto& token : tokens)
      out.push_back(ids.emplace(token, static_cast<uint32_t>(ids.size())).first->second);
    return out;
  };
  std::vector<uint32_t> ref = intern(reference);
  std::vector<uint32_t> hyp = intern(hypothesis);

  const std::size_t rows = ref.size() + 1;
  const std::size_t cols = hyp.size() + 1;
  std::vector<uint32_t> cost(rows * cols);
  for (std::size_t i = 0; i < rows; ++i) cost[i * cols] = static_cast<uint32_t>(i);
  for (std::size_t j = 0; j < cols; ++j) cost[j] = static_cast<uint32_t>(j);
  for (std::size_t i = 1; i < rows; ++i) {
    uint32_t* row = &cost[i * cols];
    const uint32_t* above = &cost[(i - 1) * cols];
    for (std::size_t j = 1; j < cols; ++j) {
      if (ref[i - 1] == hyp[j - 1]) {
        row[j] = above[j - 1];
      } else {
        row[j] = 1 + std::min({row[j - 1], above[j], above[j - 1]});
      }
    }
  }

  // Back-trace; on ties a diagonal step is preferred, then a deletion.
  std::vector<Op> ops;
  ops.reserve(std::max(rows, cols));
  std::size_t i = ref.size();
  std::size_t j = hyp.size();
  while (i > 0 || j > 0) {
    uint32_t here = cost[i * cols + j];
    if (i > 0 && j > 0 && ref[i - 1] == hyp[j - 1] && here == cost[(i - 1) * cols + j - 1]) {
      ops.push_back(Op::hit);
      --i, --j;
    } else if (i > 0 && j > 0 && here == cost[(i - 1) * cols + j - 1] + 1) {
      ops.push_back(Op::substitution);
      --i, --j;
    } else if (i > 0 && here == cost[(i - 1) * cols + j] + 1) {
      ops.push_back(Op::deletion);
      --i;
    } else {
      ops.push_back(Op::insertion);
      --j;
    }
  }
  std::reverse(ops.begin(), ops.end());
  return ops;
}

WER::Result WER::score(std::string_view reference, std::string_view hypothesis) {
  std::vector<Token> ref = normalize(reference);
  std::vector<Token> hyp = normalize(hypothesis);
  Result result;
  std::int64_t position = 0;
  for (Op op : align(ref, hyp)) {
    switch (op) {
      case Op::hit: ++result.hits, ++position; break;
      case Op::substitution:
        ++result.substitutions;
        result.missedReferencePositions.push_back(position++);
        break;
      case Op::deletion:
        ++result.deletions;
        result.missedReferencePositions.push_back(position++);
        break;
      case Op::insertion: ++result.insertions; break;
    }
  }
  return result;
}

WER::Result& WER::Result::operator+=(const Result& other) {
  substitutions += other.substitutions;
  deletions += other.deletions;
  insertions += other.insertions;
  hits += other.hits;
  return *this;
}

double WER::Result::errorRate() const {
  std::int64_t words = referenceWords();
  std::int64_t errors = substitutions + deletions + insertions;
  if (words == 0) return errors == 0 ? 0.0 : 1.0;
  return static_cast<double>(errors) / static_cast<double>(words);
}

}  // namespace murvelo
