#include "audio/file/FFmpegModule.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "audio/file/ReaderError.h"
#include "base/ProgramFiles.h"

namespace sonmere {

namespace {

constexpr const char* kModuleFile = "sonmere_ffmpeg.so";

std::unexpected<Error> noModule(std::string text) {
  return std::unexpected(readerError(ReaderFault::noModule, std::move(text)));
}

}  // namespace

std::vector<std::string> moduleDirectories() {
  if (const char* chosen = std::getenv("SONMERE_MODULE_DIR"); chosen && *chosen) return {chosen};
  std::vector<std::string> directories{programFolder().parent_path() / "lib" / "sonmere" / "modules"};
  if (const auto tree = buildTree(); !tree.empty()) directories.push_back(tree / "lib");
  return directories;
}

namespace {

// Whether nobody but this user and the administrator can put code there.
bool isTrusted(int descriptor) {
  struct stat info {};
  return ::fstat(descriptor, &info) == 0 && (info.st_uid == 0 || info.st_uid == ::geteuid()) &&
         (info.st_mode & S_IWOTH) == 0;
}

Outcome<FFmpegModule> loadModule(const std::filesystem::path& path, const FileDescriptor& file) {
  // What was looked at is what is loaded.
  void* module = ::dlopen(fmt::format("/proc/self/fd/{}", file.get()).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module)
    return noModule(fmt::format("the codec module {} could not be loaded: {}", path.string(), ::dlerror()));
  void* const reader = ::dlsym(module, kOpenFFmpegReaderSymbol);
  void* const encoder = ::dlsym(module, kMakeFFmpegEncoderSymbol);
  if (!reader || !encoder) return noModule(fmt::format("{} is not a codec module", path.string()));
  return FFmpegModule{reinterpret_cast<OpenFFmpegReader>(reader),
                      reinterpret_cast<MakeFFmpegEncoder>(encoder)};
}

}  // namespace

Outcome<FFmpegModule> loadFFmpegModule(const std::vector<std::string>& directories) {
  for (const std::string& directory : directories) {
    const FileDescriptor folder(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder.valid()) continue;
    const FileDescriptor file(::openat(folder.get(), kModuleFile, O_RDONLY | O_CLOEXEC));
    if (!file.valid()) continue;
    const std::filesystem::path path = std::filesystem::path(directory) / kModuleFile;
    if (isTrusted(folder.get()) && isTrusted(file.get())) return loadModule(path, file);
    return noModule(
        fmt::format("the codec module {} is not loaded, because other users could change it", path.string()));
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
