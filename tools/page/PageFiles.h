#pragma once

#include <span>
#include <string_view>

namespace varno::tool {

// A file of the page, as it is in the program.
struct PageFile {
  std::string_view name;
  std::string_view type;  // of its content
  std::string_view content;
};

std::span<const PageFile> pageFiles();

}  // namespace varno::tool
