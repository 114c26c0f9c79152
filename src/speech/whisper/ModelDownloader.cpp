#include "speech/whisper/ModelDownloader.h"

#include <curl/curl.h>
#include <openssl/evp.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <vector>

namespace murvelo {
namespace {

struct Transfer {
  std::FILE* file = nullptr;
  std::uint64_t resumedFrom = 0;
  std::uint64_t written = 0;
  std::uint64_t maxBytes = 0;
  bool tooLarge = false;
  const std::atomic<bool>* cancel = nullptr;
  bool cancelled = false;
  bool checkedStatus = false;
  CURL* curl = nullptr;
  const ModelDownloader::ProgressHandler* progress = nullptr;
  std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point lastReport{};
};

std::size_t writeBody(char* data, std::size_t size, std::size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  if (!transfer->checkedStatus) {
    transfer->checkedStatus = true;
    long status = 0;
    curl_easy_getinfo(transfer->curl, CURLINFO_RESPONSE_CODE, &status);
    // A server that ignores the range sends the whole file again: start over.
    if (status == 200 && transfer->resumedFrom > 0) {
      std::FILE* reopened = std::freopen(nullptr, "wb", transfer->file);
      if (!reopened) return 0;
      transfer->file = reopened;
      transfer->resumedFrom = 0;
    }
  }
  if (transfer->cancel && transfer->cancel->load()) {
    transfer->cancelled = true;
    return 0;
  }
  const std::uint64_t bytes = static_cast<std::uint64_t>(size) * count;
  transfer->written += bytes;
  if (transfer->maxBytes > 0 && transfer->resumedFrom + transfer->written > transfer->maxBytes) {
    transfer->tooLarge = true;
    return 0;  // ends the transfer
  }
  return std::fwrite(data, size, count, transfer->file) * size;
}

int reportProgress(void* user, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t) {
  auto* transfer = static_cast<Transfer*>(user);
  if (transfer->cancel && transfer->cancel->load()) {
    transfer->cancelled = true;
    return 1;  // aborts the transfer
  }
  auto clock = std::chrono::steady_clock::now();
  if (clock - transfer->lastReport < std::chrono::milliseconds(200) && !(total > 0 && now == total)) return 0;
  transfer->lastReport = clock;
  double seconds = std::chrono::duration<double>(clock - transfer->started).count();
  ModelDownloader::Progress progress;
  progress.received = transfer->resumedFrom + static_cast<std::uint64_t>(now);
  progress.total = total > 0 ? transfer->resumedFrom + static_cast<std::uint64_t>(total) : 0;
  progress.bytesPerSecond = seconds > 0 ? static_cast<double>(now) / seconds : 0;
  if (*transfer->progress) (*transfer->progress)(progress);
  return 0;
}

}  // namespace

std::string ModelDownloader::sha1Of(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return {};
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  EVP_DigestInit_ex(context, EVP_sha1(), nullptr);
  std::vector<char> buffer(1 << 20);
  while (in) {
    in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    if (in.gcount() > 0) EVP_DigestUpdate(context, buffer.data(), static_cast<std::size_t>(in.gcount()));
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context, digest, &length);
  EVP_MD_CTX_free(context);
  static const char* hex = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < length; ++i) {
    text += hex[digest[i] >> 4];
    text += hex[digest[i] & 15];
  }
  return text;
}

Status ModelDownloader::download(const std::string& url, const std::filesystem::path& destination,
                                 const std::string& sha1, const ProgressHandler& progress,
                                 std::uint64_t maxBytes, const std::atomic<bool>* cancel) {
  std::error_code error;
  std::filesystem::create_directories(destination.parent_path(), error);
  if (error)
    return Status::error("cannot create " + destination.parent_path().string() + ": " + error.message());
  std::filesystem::path partial = destination;
  partial += ".partial";

  Transfer transfer;
  transfer.resumedFrom =
      std::filesystem::exists(partial, error) ? std::filesystem::file_size(partial, error) : 0;
  if (error) transfer.resumedFrom = 0;
  transfer.file = std::fopen(partial.c_str(), transfer.resumedFrom > 0 ? "ab" : "wb");
  if (!transfer.file) return Status::error("cannot write " + partial.string());
  transfer.progress = &progress;
  transfer.maxBytes = maxBytes;
  transfer.cancel = cancel;

  CURL* curl = curl_easy_init();
  transfer.curl = curl;
  char message[CURL_ERROR_SIZE] = {0};
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, message);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 30L);
  // Give up on a connection that stalls for a minute; the partial file stays for a resume.
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1024L);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, 60L);
  curl_easy_setopt(curl, CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(transfer.resumedFrom));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, writeBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, reportProgress);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &transfer);
  CURLcode code = curl_easy_perform(curl);
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(curl);
  bool closed = std::fclose(transfer.file) == 0;

  // 416: the partial file already holds everything the server has.
  bool complete = code == CURLE_OK || (status == 416 && transfer.resumedFrom > 0);
  if (transfer.cancelled) {
    std::filesystem::remove(partial, error);
    return Status::error(kCancelled);
  }
  if (transfer.tooLarge) {
    std::filesystem::remove(partial, error);
    return Status::error("download failed: the server sent more than the " + std::to_string(maxBytes) +
                         " bytes this model can have; stopped and removed the partial file");
  }
  if (!complete) {
    std::string reason = message[0] ? message : curl_easy_strerror(code);
    const bool kept =
        std::filesystem::exists(partial, error) && std::filesystem::file_size(partial, error) > 0;
    if (!kept) std::filesystem::remove(partial, error);
    // A refusal (404, 403, ...) does not go away by trying again; a broken transfer does.
    if (code == CURLE_HTTP_RETURNED_ERROR && status >= 400 && status < 500) {
      return Status::error("download failed: the server answered HTTP " + std::to_string(status) + " for " +
                           url);
    }
    if (!kept) return Status::error("download failed: " + reason);
    return Status::error("download failed: " + reason + " — run the command again to resume");
  }
  if (!closed) {
    std::filesystem::remove(partial, error);
    return Status::error("cannot write " + partial.string());
  }
  std::string actual = sha1Of(partial);
  if (actual != sha1) {
    std::filesystem::remove(partial, error);
    return Status::error("checksum mismatch (SHA-1 " + actual + ", expected " + sha1 +
                         "): not the official file; nothing was installed");
  }
  std::filesystem::rename(partial, destination, error);
  if (error) return Status::error("cannot move the model into place: " + error.message());
  return Status::ok();
}

}  // namespace murvelo
