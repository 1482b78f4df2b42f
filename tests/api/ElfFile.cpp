#include "tests/api/ElfFile.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>

namespace {

using Bytes = std::span<const char>;

template <typename Record>
std::vector<Record> Records(Bytes bytes) {
  std::vector<Record> records(bytes.size() / sizeof(Record));
  if (!records.empty()) std::memcpy(records.data(), bytes.data(), records.size() * sizeof(Record));
  return records;
}

Bytes Part(Bytes file, uint64_t offset, uint64_t size) {
  if (offset > file.size() || size > file.size() - offset) return {};
  return file.subspan(static_cast<size_t>(offset), static_cast<size_t>(size));
}

std::string Text(Bytes strings, uint64_t offset) {
  if (offset >= strings.size()) return {};
  const Bytes rest = strings.subspan(static_cast<size_t>(offset));
  return {rest.begin(), std::find(rest.begin(), rest.end(), '\0')};
}

bool IsExported(const ElfW(Sym) & symbol) {
  // The bit fields are the same for both classes.
  const unsigned char binding = ELF32_ST_BIND(symbol.st_info);
  const unsigned char visibility = ELF32_ST_VISIBILITY(symbol.st_other);
  return symbol.st_shndx != SHN_UNDEF && binding != STB_LOCAL &&
         (visibility == STV_DEFAULT || visibility == STV_PROTECTED);
}

}  // namespace

ElfFile ReadElfFile(const std::string& path) {
  ElfFile result;
  std::ifstream stream(path, std::ios::binary);
  const std::vector<char> content{std::istreambuf_iterator<char>(stream), {}};
  const Bytes file = content;
  const auto headers = Records<ElfW(Ehdr)>(Part(file, 0, sizeof(ElfW(Ehdr))));
  if (headers.empty() || std::memcmp(headers[0].e_ident, ELFMAG, SELFMAG) != 0) {
    result.error = path + " is no ELF file";
    return result;
  }
  const auto sections =
      Records<ElfW(Shdr)>(Part(file, headers[0].e_shoff, uint64_t{headers[0].e_shnum} * sizeof(ElfW(Shdr))));
  for (const auto& section : sections) {
    if (section.sh_link >= sections.size()) continue;
    const Bytes data = Part(file, section.sh_offset, section.sh_size);
    const auto& linked = sections[section.sh_link];
    const Bytes strings = Part(file, linked.sh_offset, linked.sh_size);
    if (section.sh_type == SHT_DYNSYM) {
      for (const auto& symbol : Records<ElfW(Sym)>(data)) {
        if (IsExported(symbol)) result.exported.push_back(Text(strings, symbol.st_name));
      }
    } else if (section.sh_type == SHT_DYNAMIC) {
      for (const auto& entry : Records<ElfW(Dyn)>(data)) {
        if (entry.d_tag == DT_NEEDED) result.needed.push_back(Text(strings, entry.d_un.d_val));
      }
    }
  }
  std::sort(result.exported.begin(), result.exported.end());
  return result;
}
