// What the file of a shared library says about it, before it is loaded.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace brelmo::tavi::tools {

struct DynamicSymbol {
  std::string name;
  bool is_defined = false;
  bool is_weak = false;
  bool is_function = false;
  bool has_version = false;  // one other than the library's base version
  size_t size = 0;           // in bytes
};

struct LibraryFile {
  std::vector<DynamicSymbol> symbols;
  bool is_for_this_machine = false;
  bool has_text_relocations = false;
  bool has_executable_stack = false;
};

// Throws std::runtime_error when the file is no ELF library with a dynamic symbol table.
LibraryFile ReadLibraryFile(const std::string& path);

// Throws InputError when the file is no build of a module for this machine.
void CheckIsModule(const std::string& path);

}  // namespace brelmo::tavi::tools
