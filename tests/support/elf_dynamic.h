// Reads what a shared object offers and asks of the dynamic linker: symbols, soname, needed list.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace test {

struct ElfDynamic {
    bool ok = false;
    std::string error;                  // why ok is false
    std::string soname;                 // DT_SONAME, "" when absent
    std::vector<std::string> needed;    // DT_NEEDED entries in order
    std::set<std::string> defined;      // global and weak symbols of .dynsym with a section
    bool hasVersionDefinitions = false; // a .gnu.version_d section exists
};

// Parses an ELF64 little-endian file; never throws for a bad file (ok = false instead).
ElfDynamic readElfDynamic(std::string const& path);

} // namespace test
