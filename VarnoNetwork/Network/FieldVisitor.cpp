#include <VarnoNetwork/Network/FieldVisitor.h>

namespace varno {

std::string FieldInfo::path() const {
  std::string path = parent != nullptr ? parent->path() : std::string();
  if (index != kNoIndex) return path + "[" + std::to_string(index) + "]";
  if (!path.empty()) path += '.';
  return path.append(name);
}

}  // namespace varno
