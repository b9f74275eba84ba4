// ELF64 reader for the export tests: section headers, .dynsym with its strings, and .dynamic.
#include "elf_dynamic.h"

#include <cstdint>
#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

namespace test {
namespace {

class Image {
public:
    explicit Image(std::vector<char> bytes) : bytes_(std::move(bytes)) {}

    // Copies a T from offset; false when it would read past the end.
    template <typename T>
    bool read(std::uint64_t offset, T& out) const {
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof(T))
            return false;
        std::memcpy(&out, bytes_.data() + offset, sizeof(T));
        return true;
    }

    // The NUL-terminated text at offset, "" when out of range or unterminated.
    std::string text(std::uint64_t offset) const {
        if (offset >= bytes_.size())
            return {};
        char const* begin = bytes_.data() + offset;
        auto const* end =
            static_cast<char const*>(std::memchr(begin, '\0', bytes_.size() - offset));
        return end != nullptr ? std::string(begin, end) : std::string();
    }

private:
    std::vector<char> bytes_;
};

} // namespace

ElfDynamic readElfDynamic(std::string const& path) {
    ElfDynamic result;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        result.error = "cannot open " + path;
        return result;
    }
    Image const image(std::vector<char>(std::istreambuf_iterator<char>(in), {}));

    Elf64_Ehdr header{};
    if (!image.read(0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB) {
        result.error = path + " is not an ELF64 little-endian file";
        return result;
    }
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    for (std::size_t i = 0; i < sections.size(); ++i) {
        if (!image.read(header.e_shoff + i * header.e_shentsize, sections[i])) {
            result.error = "truncated section header table";
            return result;
        }
    }
    auto const stringsOf = [&](Elf64_Shdr const& section) -> Elf64_Shdr const* {
        return section.sh_link < sections.size() ? &sections[section.sh_link] : nullptr;
    };

    bool sawDynsym = false;
    for (Elf64_Shdr const& section : sections) {
        if (section.sh_type == SHT_GNU_verdef)
            result.hasVersionDefinitions = true;
        Elf64_Shdr const* strings = stringsOf(section);
        if (strings == nullptr)
            continue;
        if (section.sh_type == SHT_DYNSYM && section.sh_entsize == sizeof(Elf64_Sym)) {
            sawDynsym = true;
            for (std::uint64_t at = 0; at + sizeof(Elf64_Sym) <= section.sh_size;
                 at += sizeof(Elf64_Sym)) {
                Elf64_Sym symbol{};
                if (!image.read(section.sh_offset + at, symbol))
                    break;
                unsigned const binding = ELF64_ST_BIND(symbol.st_info);
                if (symbol.st_shndx == SHN_UNDEF || (binding != STB_GLOBAL && binding != STB_WEAK))
                    continue;
                result.defined.insert(image.text(strings->sh_offset + symbol.st_name));
            }
        } else if (section.sh_type == SHT_DYNAMIC) {
            for (std::uint64_t at = 0; at + sizeof(Elf64_Dyn) <= section.sh_size;
                 at += sizeof(Elf64_Dyn)) {
                Elf64_Dyn entry{};
                if (!image.read(section.sh_offset + at, entry) || entry.d_tag == DT_NULL)
                    break;
                if (entry.d_tag == DT_SONAME)
                    result.soname = image.text(strings->sh_offset + entry.d_un.d_val);
                else if (entry.d_tag == DT_NEEDED)
                    result.needed.push_back(image.text(strings->sh_offset + entry.d_un.d_val));
            }
        }
    }
    if (!sawDynsym) {
        result.error = path + " has no dynamic symbol table";
        return result;
    }
    result.ok = true;
    return result;
}

} // namespace test
