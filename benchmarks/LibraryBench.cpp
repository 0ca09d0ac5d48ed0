#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Bench.h"
#include "base/VirtualRuntime.h"
#include "recording/library/RecordingScanner.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

constexpr int kFiles = 10000;
constexpr int kFilesInASession = 4;
constexpr int kInterrupted = 100;
constexpr int kMostRounds = 15;

std::string number(std::uint64_t value, int bytes, bool isBig) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += char(value >> (8 * (isBig ? bytes - 1 - i : i)));
  return text;
}

// 16 bits, stereo, 48 kHz; of size 0 when interrupted.
std::string wavFile(bool isInterrupted) {
  const auto little = [](std::uint64_t value, int bytes) { return number(value, bytes, false); };
  return "RIFF" + little(5036, 4) + "WAVEfmt " + little(16, 4) + little(1, 2) + little(2, 2) +
         little(48000, 4) + little(192000, 4) + little(4, 2) + little(16, 2) + "data" +
         little(isInterrupted ? 0 : 5000, 4) + std::string(5000, 'a');
}

std::string box(const std::string& type, const std::string& content) {
  return number(8 + content.size(), 4, true) + type + content;
}

// As most writers leave it: what tells the length stands behind the audio.
std::string m4aFile() {
  const std::string header = std::string(12, '\0') + number(48000, 4, true) + number(96000, 4, true);
  return box("ftyp", "M4A isomM4A ") + box("mdat", std::string(5000, 'a')) + box("moov", box("mvhd", header));
}

// A folder of recordings, a fifth of them M4A.
class Library {
 public:
  Library() {
    for (int i = 0; i < kFiles; ++i) write(i, i % 5 == 4 ? m4aFile() : wavFile(false));
  }

  const std::string& path() const { return path_; }
  void interrupt() const {
    for (int i = 0; i < kInterrupted; ++i) write(i * (kFiles / kInterrupted), wavFile(true));
    // What waits to be written must not be written in the time that is measured.
    sync();
  }

 private:
  void write(int index, const std::string& bytes) const {
    const int session = index / kFilesInASession;
    const char* extension = index % 5 == 4 ? "m4a" : "wav";
    const std::string name = fmt::format("{}/Sonmere Track {} \u2014 2026-{:02}-{:02} {:02}-{:02}-00.{}",
                                         path_, index % kFilesInASession + 1, session / 600 + 1,
                                         session / 24 % 25 + 1, session % 24, session / 3600, extension);
    std::ofstream file(name, std::ios::binary);
    if (!(file << bytes)) benchFailed(name + " can't be written");
  }

  const TemporaryFolder folder_;
  const std::string path_ = folder_.path().string();
};

void openAndClose(const std::string& path) {
  DIR* folder = opendir(path.c_str());
  int count = 0;
  while (const dirent* entry = readdir(folder)) {
    if (entry->d_name[0] == '.') continue;
    const int file = openat(dirfd(folder), entry->d_name, O_RDONLY | O_CLOEXEC);
    count += file >= 0;
    close(file);
  }
  closedir(folder);
  if (count != kFiles) benchFailed(fmt::format("{} files of {} opened", count, kFiles));
}

// Long enough after the files were made for repairs, and not yet.
Date later() { return VirtualRuntime::today() + std::chrono::days(2); }
Date earlier() { return VirtualRuntime::today(); }

double scanTime(const Library& library, Date now, int repairs) {
  Log log;
  RecordingScanner scanner(log);
  const std::int64_t begin = elapsedTime();
  const RecordingScan scan = scanner.scan(library.path(), now);
  const auto time = double(elapsedTime() - begin);
  std::size_t files = 0;
  for (const auto& session : scan.sessions) {
    files += session.files.size();
    for (const auto& file : session.files)
      if (file.durationSeconds <= 0 && now == later()) benchFailed(file.url + " has no length");
  }
  if (files != kFiles || int(scan.repairs.size()) != repairs)
    benchFailed(fmt::format("{} recordings and {} repairs found", files, scan.repairs.size()));
  return time;
}

}  // namespace

void benchLibrary(Bench& bench) {
  const Library library;
  std::vector<double> ratios, plainRatios, times;
  for (int round = 0; round < std::min(bench.rounds(), kMostRounds) + 1; ++round) {
    library.interrupt();
    const auto opening = [&] {
      const std::int64_t begin = elapsedTime();
      openAndClose(library.path());
      return double(elapsedTime() - begin);
    };
    // Each follows one of its kind, with what it reads as near to the processor as it may be.
    openAndClose(library.path());
    const double before = opening();
    scanTime(library, earlier(), 0);
    const double scanned = scanTime(library, later(), kInterrupted);
    const double plain = scanTime(library, later(), 0);
    openAndClose(library.path());
    const double base = (before + opening()) / 2;
    if (round == 0) continue;  // to warm up
    ratios.push_back(scanned / base);
    plainRatios.push_back(plain / base);
    times.push_back(scanned / 1e6);
  }
  bench.add(
      {"F1", "scan of 10,000 recordings, 100 repairs / open and close each", median(ratios), 2.5, true, ""});
  bench.note(fmt::format("F1: {:.0f} ms; without repairs {:.2f} times opening and closing", median(times),
                         median(plainRatios)));
}

}  // namespace sonmere
