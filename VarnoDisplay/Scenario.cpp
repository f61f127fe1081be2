#include <VarnoDisplay/Scenario.h>

#include <VarnoDisplay/Private/ScenarioReader.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace varno {

std::string ScenarioError::text() const {
  std::string text = file + ":" + std::to_string(line) + ":" + std::to_string(error.column) + ": ";
  // The column was told already.
  const std::string said = error.text();
  text += said.substr(said.find(": ") + 2);
  return text + "\n" + error.pointTo(source);
}

std::optional<std::string> loadScenarioText(const std::string& path, std::string& reason) {
  constexpr std::size_t kMostBytes = std::size_t{16} << 20;
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (!error && !std::filesystem::is_regular_file(status)) {
    reason = "no ordinary file";
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    reason = error ? error.message() : std::system_category().message(errno);
    return std::nullopt;
  }
  std::string text;
  char buffer[1 << 14];
  while (file.read(buffer, sizeof buffer) || file.gcount() > 0) {
    text.append(buffer, static_cast<std::size_t>(file.gcount()));
    if (text.size() <= kMostBytes) continue;
    reason = "larger than 16 MiB";
    return std::nullopt;
  }
  if (file.bad()) {
    reason = "it cannot be read to its end";
    return std::nullopt;
  }
  return text;
}

ScenarioReading readScenario(std::string_view text, const std::string& name,
                             const ScenarioLoader& loader, const PacketDirectory& directory) {
  ScenarioReader reader(loader, directory);
  reader.readFile(text, name);
  return reader.take();
}

}  // namespace varno
