#include <VarnoLink/Private/DeviceHolders.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace varno {
namespace {

namespace fs = std::filesystem;

// Calls visit(entry) for each, as far as the directory can be read.
template <class Visit>
void forEachEntry(const fs::path& directory, Visit visit) {
  std::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    visit(entry->path());
  }
}

bool hasOpen(const fs::path& process, const fs::path& device) {
  bool isOpen = false;
  forEachEntry(process / "fd", [&](const fs::path& descriptor) {
    std::error_code error;
    isOpen = isOpen || fs::read_symlink(descriptor, error) == device;
  });
  return isOpen;
}

}  // namespace

std::string deviceHolders(const std::string& path) {
  std::error_code error;
  const fs::path device = fs::canonical(path, error);
  if (error) return {};
  const std::string own = std::to_string(::getpid());
  std::string holders;
  forEachEntry("/proc", [&](const fs::path& process) {
    const std::string number = process.filename().string();
    if (number.find_first_not_of("0123456789") != std::string::npos || number == own) return;
    if (!hasOpen(process, device)) return;
    std::string name;
    std::getline(std::ifstream(process / "comm"), name);
    holders.append(holders.empty() ? "" : ", ").append(name).append(" (process ");
    holders.append(number).append(")");
  });
  return holders;
}

}  // namespace varno
