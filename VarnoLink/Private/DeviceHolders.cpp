#include <VarnoLink/Private/DeviceHolders.h>

#include <dirent.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string_view>

namespace varno {
namespace {

// Calls visit(name) for each entry, as far as the directory can be read. Not by std::filesystem,
// which ends the process where it runs out of memory here.
template <class Visit>
void forEachEntry(const std::string& directory, Visit visit) {
  const struct Directory {
    ~Directory() {
      if (opened != nullptr) ::closedir(opened);
    }
    DIR* opened;
  } listed{::opendir(directory.c_str())};
  if (listed.opened == nullptr) return;
  // One thread alone reads this directory.
  while (const dirent* const entry = ::readdir(listed.opened)) {  // NOLINT(concurrency-mt-unsafe)
    visit(std::string(entry->d_name));
  }
}

bool hasOpen(const std::string& process, const std::string& device) {
  const std::string descriptors = process + "/fd/";
  bool isOpen = false;
  forEachEntry(descriptors, [&](const std::string& descriptor) {
    std::array<char, PATH_MAX> target;
    const ssize_t size =
        ::readlink((descriptors + descriptor).c_str(), target.data(), target.size());
    isOpen = isOpen || (size > 0 &&
                        std::string_view(target.data(), static_cast<std::size_t>(size)) == device);
  });
  return isOpen;
}

}  // namespace

std::string deviceHolders(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> device(::realpath(path.c_str(), nullptr),
                                                           &std::free);
  if (!device) return {};
  const std::string own = std::to_string(::getpid());
  std::string holders;
  forEachEntry("/proc", [&](const std::string& number) {
    if (number.find_first_not_of("0123456789") != std::string::npos || number == own) return;
    const std::string process = "/proc/" + number;
    if (!hasOpen(process, device.get())) return;
    std::string name;
    std::getline(std::ifstream(process + "/comm"), name);
    holders.append(holders.empty() ? "" : ", ").append(name).append(" (process ");
    holders.append(number).append(")");
  });
  return holders;
}

}  // namespace varno
