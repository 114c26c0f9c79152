#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "speech/MicrophoneMemory.h"
#include "speech/Recognizer.h"

struct ps_decoder_s;

namespace murvelo {

// Recognition with pocketsphinx and Debian's US English model: needs no download, streams for
// real (every buffer is searched as it arrives), and is far less accurate than whisper. Its text
// is lower case without punctuation.
class PocketSphinxRecognizer : public Recognizer {
 public:
  static constexpr double kSampleRate = 16000;

  // `modelDirectory` holds the acoustic model "en-us", "en-us.lm.bin" and "cmudict-en-us.dict".
  // `microphoneFile` keeps what was learned about each named microphone across launches; none:
  // it lasts as long as the recogniser.
  explicit PocketSphinxRecognizer(std::filesystem::path modelDirectory = defaultModelDirectory(),
                                  std::filesystem::path microphoneFile = {});
  ~PocketSphinxRecognizer() override;
  PocketSphinxRecognizer(const PocketSphinxRecognizer&) = delete;
  PocketSphinxRecognizer& operator=(const PocketSphinxRecognizer&) = delete;

  // $MURVELO_POCKETSPHINX_MODEL_DIR, else Debian's /usr/share/pocketsphinx/model/en-us.
  static std::filesystem::path defaultModelDirectory();

  std::string name() const override { return "pocketsphinx"; }
  Status ensureAssets() override;
  double analysisSampleRate() const override { return kSampleRate; }
  Result<std::unique_ptr<RecognitionSession>, std::string> makeSession(Mode mode,
                                                                       ResultHandler onResult) override;

  // Starts from what was learned about this microphone, in this launch or an earlier one; one
  // never heard is measured afresh by the next streaming session.
  void useMicrophone(const std::string& deviceID) override;
  // The recogniser knows the microphone's sound: the next streaming session starts decoding at
  // once instead of holding its first seconds back.
  bool knowsMicrophone();

  // Decoders are costly to make (the model is loaded into each), so finished ones are kept.
  ps_decoder_s* acquireDecoder();
  void releaseDecoder(ps_decoder_s* decoder);
  // The mean cepstrum the last streaming sessions measured, if any, and the microphone's number:
  // a session that began on an earlier microphone teaches nothing.
  std::pair<std::optional<std::vector<float>>, int> microphoneMean();
  void learnMicrophone(std::vector<float> mean, int microphone);
  // Writes what was learned to the file, off the path from key-up to text.
  void keepMicrophone(int microphone);

 private:
  ps_decoder_s* makeDecoder();

  std::filesystem::path directory_;
  std::mutex mutex_;
  bool ready_ = false;
  std::vector<ps_decoder_s*> idle_;
  MicrophoneMemory memory_;
  std::optional<std::vector<float>> microphoneMean_;
  int microphone_ = 0;
  std::string device_;
  bool recalled_ = true;  // the file was asked about `device_`
};

}  // namespace murvelo
