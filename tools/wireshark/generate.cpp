// Writes the dissector.
//   generate_dissector FILE

#include "tools/wireshark/LuaDissector.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::cerr << "usage: generate_dissector FILE\n";
    return 2;
  }
  std::ofstream file(argv[1], std::ios::binary);
  file << varno::luaDissector();
  if (!file.flush()) throw std::runtime_error(std::string("cannot write ") + argv[1]);
} catch (const std::exception& exception) {
  std::cerr << "generate_dissector: " << exception.what() << '\n';
  return 1;
}
