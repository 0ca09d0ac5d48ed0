#include "audio/file/FFmpegModule.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "audio/file/ReaderError.h"

namespace sonmere {

namespace {

constexpr const char* kModuleFile = "sonmere_ffmpeg.so";

std::unexpected<Error> noModule(std::string text) {
  return std::unexpected(readerError(ReaderFault::noModule, std::move(text)));
}

}  // namespace

std::vector<std::string> moduleDirectories() {
  std::vector<std::string> directories;
  if (const char* chosen = std::getenv("SONMERE_MODULE_DIR"); chosen && *chosen)
    directories.push_back(chosen);
  std::error_code ignored;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
  if (!program.empty()) {
    directories.push_back(program / "lib");
    directories.push_back(program.parent_path() / "lib");
    directories.push_back(program.parent_path() / "lib" / "sonmere");
  }
  directories.push_back(SONMERE_BUILD_MODULE_DIR);
  return directories;
}

Outcome<FFmpegModule> loadFFmpegModule(const std::vector<std::string>& directories) {
  for (const std::string& directory : directories) {
    const std::filesystem::path path = std::filesystem::path(directory) / kModuleFile;
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) continue;
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) return noModule(fmt::format("the codec module could not be loaded: {}", ::dlerror()));
    void* const reader = ::dlsym(module, kOpenFFmpegReaderSymbol);
    void* const encoder = ::dlsym(module, kMakeFFmpegEncoderSymbol);
    if (!reader || !encoder) return noModule(fmt::format("{} is not a codec module", path.string()));
    return FFmpegModule{reinterpret_cast<OpenFFmpegReader>(reader),
                        reinterpret_cast<MakeFFmpegEncoder>(encoder)};
  }
  return noModule(fmt::format("the codec module {} is not in {}", kModuleFile, fmt::join(directories, ", ")));
}

Outcome<std::unique_ptr<AudioFileReader>> openWithFFmpeg(FileDescriptor file, const std::string& path) {
  const auto module = loadFFmpegModule(moduleDirectories());
  if (!module) return noModule(fmt::format("{}: could not be decoded: {}", path, module.error().description));
  Error error;
  std::unique_ptr<AudioFileReader> reader(module->openReader(file.release(), path.c_str(), &error));
  if (!reader) return std::unexpected(error);
  return reader;
}

Outcome<std::unique_ptr<AACEncoder>> makeAACEncoder(const AudioFileSettings& settings) {
  const auto module = loadFFmpegModule(moduleDirectories());
  if (!module) return std::unexpected(module.error());
  Error error;
  std::unique_ptr<AACEncoder> encoder(module->makeEncoder(settings, &error));
  if (!encoder) return std::unexpected(error);
  return encoder;
}

}  // namespace sonmere
