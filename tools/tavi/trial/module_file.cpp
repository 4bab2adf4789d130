#include "trial/module_file.h"

#include <fcntl.h>
#include <gelf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "console/input.h"

namespace brelmo::tavi::tools {

namespace {

// The type is libelf's, which leaves it open.
using ElfPointer = std::unique_ptr<Elf, int (*)(Elf*)>;

void ReadSymbols(Elf* elf, Elf_Scn* section, const GElf_Shdr& header, LibraryFile& file) {
  Elf_Data* const data = elf_getdata(section, nullptr);
  Elf_Data* versions = nullptr;
  for (Elf_Scn* other = elf_nextscn(elf, nullptr); other != nullptr;
       other = elf_nextscn(elf, other)) {
    GElf_Shdr other_header;
    if (gelf_getshdr(other, &other_header) != nullptr && other_header.sh_type == SHT_GNU_versym) {
      versions = elf_getdata(other, nullptr);
    }
  }
  const auto count =
      static_cast<int>(header.sh_entsize == 0 ? 0 : header.sh_size / header.sh_entsize);
  size_t bytes = 0;
  for (int i = 1; i < count; ++i) {  // the first is a placeholder
    GElf_Sym symbol;
    if (gelf_getsym(data, i, &symbol) == nullptr) break;
    const int binding = GELF_ST_BIND(symbol.st_info);
    const char* const name = elf_strptr(elf, header.sh_link, symbol.st_name);
    if (binding == STB_LOCAL || name == nullptr || *name == '\0') continue;
    // Names may lie in each other: a small file can hold any number of long ones.
    constexpr size_t kMostBytes = size_t{64} << 20;
    bytes += std::strlen(name);
    if (bytes > kMostBytes) throw std::runtime_error("has symbol names of more than 64 MiB");
    GElf_Versym version = VER_NDX_GLOBAL;
    if (versions != nullptr) gelf_getversym(versions, i, &version);
    constexpr int kHidden = 0x8000;
    const bool is_version_definition = symbol.st_shndx == SHN_ABS && symbol.st_size == 0;
    if (is_version_definition) continue;
    file.symbols.push_back({name, symbol.st_shndx != SHN_UNDEF, binding == STB_WEAK,
                            GELF_ST_TYPE(symbol.st_info) == STT_FUNC,
                            (version & ~kHidden) > VER_NDX_GLOBAL, symbol.st_size});
  }
}

void ReadDynamicEntries(Elf_Scn* section, const GElf_Shdr& header, LibraryFile& file) {
  Elf_Data* const data = elf_getdata(section, nullptr);
  const auto count =
      static_cast<int>(header.sh_entsize == 0 ? 0 : header.sh_size / header.sh_entsize);
  for (int i = 0; i < count; ++i) {
    GElf_Dyn entry;
    if (gelf_getdyn(data, i, &entry) == nullptr) break;
    if (entry.d_tag == DT_TEXTREL ||
        (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_TEXTREL) != 0)) {
      file.has_text_relocations = true;
    }
  }
}

class ElfFile {
 public:
  explicit ElfFile(const std::string& path)
      : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (fd_ < 0) {
      throw std::runtime_error(path + ": cannot be read: " + std::strerror(errno));
    }
    struct stat status = {};
    if (fstat(fd_, &status) == 0 && !S_ISREG(status.st_mode)) {
      close(fd_);
      throw std::runtime_error(path + ": is no regular file");
    }
    elf_version(EV_CURRENT);
    elf_.reset(elf_begin(fd_, ELF_C_READ_MMAP, nullptr));
    if (elf_ == nullptr || gelf_getehdr(elf_.get(), &header_) == nullptr) {
      elf_.reset();
      close(fd_);
      throw std::runtime_error(path + ": is no ELF file");
    }
  }
  ElfFile(const ElfFile&) = delete;
  ElfFile& operator=(const ElfFile&) = delete;
  ~ElfFile() {
    elf_.reset();
    close(fd_);
  }

  Elf* get() const { return elf_.get(); }
  bool IsForMachineOf(const ElfFile& other) const {
    return header_.e_machine == other.header_.e_machine &&
           header_.e_ident[EI_CLASS] == other.header_.e_ident[EI_CLASS] &&
           header_.e_ident[EI_DATA] == other.header_.e_ident[EI_DATA];
  }

 private:
  int fd_;
  ElfPointer elf_{nullptr, elf_end};
  GElf_Ehdr header_{};
};

}  // namespace

LibraryFile ReadLibraryFile(const std::string& path) {
  const ElfFile elf(path);
  LibraryFile file;
  file.is_for_this_machine = elf.IsForMachineOf(ElfFile("/proc/self/exe"));
  bool has_symbols = false;
  for (Elf_Scn* section = elf_nextscn(elf.get(), nullptr); section != nullptr;
       section = elf_nextscn(elf.get(), section)) {
    GElf_Shdr header;
    if (gelf_getshdr(section, &header) == nullptr) continue;
    if (header.sh_type == SHT_DYNSYM) {
      try {
        ReadSymbols(elf.get(), section, header, file);
      } catch (const std::runtime_error& error) {
        throw std::runtime_error(path + ": " + error.what());
      }
      has_symbols = true;
    } else if (header.sh_type == SHT_DYNAMIC) {
      ReadDynamicEntries(section, header, file);
    }
  }
  if (!has_symbols) throw std::runtime_error(path + ": has no dynamic symbol table");
  size_t count = 0;
  elf_getphdrnum(elf.get(), &count);
  for (size_t i = 0; i < count; ++i) {
    GElf_Phdr segment;
    if (gelf_getphdr(elf.get(), static_cast<int>(i), &segment) != nullptr &&
        segment.p_type == PT_GNU_STACK && (segment.p_flags & PF_X) != 0) {
      file.has_executable_stack = true;
    }
  }
  return file;
}

void CheckIsModule(const std::string& path) {
  constexpr const char* kDescriptor = "HAL_PLATFORM_EXT_AUD_MODULE";
  LibraryFile file;
  try {
    file = ReadLibraryFile(path);
  } catch (const std::runtime_error& error) {
    throw InputError(error.what());
  }
  if (!file.is_for_this_machine) {
    throw InputError(path +
                     ": is for another machine: it needs a tavi that was built for that one");
  }
  if (std::none_of(file.symbols.begin(), file.symbols.end(), [](const DynamicSymbol& symbol) {
        return symbol.is_defined && symbol.name == kDescriptor;
      })) {
    throw InputError(path + ": is no extension module: it does not export " + kDescriptor);
  }
}

}  // namespace brelmo::tavi::tools
