// The stand-ins' files as the dynamic linker sees them: file names, sonames, exported names.
#include "elf_dynamic.h"
#include "sim/host/exports_directory.h"

#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using test::ElfDynamic;
using test::readElfDynamic;

std::string inLibraryDirectory(char const* file) {
    return sim::host::standInDirectory() + "/" + file;
}

// Names outside `documented` that the file defines and that do not start with "Sim".
std::set<std::string> strayNames(ElfDynamic const& elf, std::set<std::string> const& documented) {
    std::set<std::string> stray;
    for (std::string const& name : elf.defined) {
        if (documented.count(name) == 0 && name.compare(0, 3, "Sim") != 0)
            stray.insert(name);
    }
    return stray;
}

std::set<std::string> missingNames(ElfDynamic const& elf, std::set<std::string> const& documented) {
    std::set<std::string> missing;
    for (std::string const& name : documented) {
        if (elf.defined.count(name) == 0)
            missing.insert(name);
    }
    return missing;
}

std::string resolved(std::string const& path) {
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) != nullptr ? std::string(buffer) : std::string();
}

std::set<std::string> const kPageBridgeNames = {
    "BridgeHelperCreatePromiseID", "BridgeHelperSetResponse", "BridgeHelperDispatchEvent",
    "BridgeHelperAddEventCallback", "BridgeHelperRemoveEventCallback"};
std::set<std::string> const kHostPlugNames = {"Plg_GetRegistryExportsPath"};
std::set<std::string> const kOstranaNames = {"ostrana_get_logger", "ostrana_log"};

} // namespace

TEST(PageBridgeFile, IsNamedBySonameWithTheLinkNamePointingAtIt) {
    ElfDynamic const elf = readElfDynamic(inLibraryDirectory("libpagebridge.so.2"));
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.soname, "libpagebridge.so.2");
    EXPECT_EQ(resolved(inLibraryDirectory("libpagebridge.so")),
              resolved(inLibraryDirectory("libpagebridge.so.2")));
}

TEST(PageBridgeFile, ExportsItsFiveFunctionsAndOtherwiseOnlySimControls) {
    ElfDynamic const elf = readElfDynamic(inLibraryDirectory("libpagebridge.so.2"));
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(missingNames(elf, kPageBridgeNames), std::set<std::string>());
    EXPECT_EQ(strayNames(elf, kPageBridgeNames), std::set<std::string>());
    EXPECT_EQ(elf.defined.count("SimPageBridgeDeliverNativeEvent"), 1U);
}

TEST(PageBridgeFile, LeavesTheObserverCallbackToThePlugIn) {
    ElfDynamic const elf = readElfDynamic(inLibraryDirectory("libpagebridge.so.2"));
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.defined.count("BridgeHelperEventObserverCallback"), 0U);
    // The default scope of this process holds the linked stand-in; the name must not resolve.
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "BridgeHelperEventObserverCallback"), nullptr);
}

TEST(HostPlugFile, IsNamedBySonameWithTheLinkNamePointingAtIt) {
    ElfDynamic const elf = readElfDynamic(inLibraryDirectory("libhostplug_x64.so.1"));
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.soname, "libhostplug_x64.so.1");
    EXPECT_EQ(resolved(inLibraryDirectory("libhostplug_x64.so")),
              resolved(inLibraryDirectory("libhostplug_x64.so.1")));
}

TEST(HostPlugFile, ExportsItsOneFunctionAndOtherwiseOnlySimControls) {
    ElfDynamic const elf = readElfDynamic(inLibraryDirectory("libhostplug_x64.so.1"));
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(missingNames(elf, kHostPlugNames), std::set<std::string>());
    EXPECT_EQ(strayNames(elf, kHostPlugNames), std::set<std::string>());
    EXPECT_EQ(elf.defined.count("SimHostSetExportsPath"), 1U);
}

TEST(OstranaFile, HasItsFileNameAsSoname) {
    ElfDynamic const elf = readElfDynamic(inLibraryDirectory("libostrana2_x64.so"));
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.soname, "libostrana2_x64.so");
}

TEST(OstranaFile, ExportsItsTwoFunctionsAndOtherwiseOnlySimControls) {
    ElfDynamic const elf = readElfDynamic(inLibraryDirectory("libostrana2_x64.so"));
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(missingNames(elf, kOstranaNames), std::set<std::string>());
    EXPECT_EQ(strayNames(elf, kOstranaNames), std::set<std::string>());
    EXPECT_EQ(elf.defined.count("SimOstranaLineAt"), 1U);
}

TEST(StandInFiles, CarryNoSymbolVersions) {
    for (char const* file : {"libpagebridge.so.2", "libhostplug_x64.so.1", "libostrana2_x64.so"}) {
        ElfDynamic const elf = readElfDynamic(inLibraryDirectory(file));
        ASSERT_TRUE(elf.ok) << elf.error;
        EXPECT_FALSE(elf.hasVersionDefinitions) << file;
    }
}

TEST(ElfReader, ReportsAFileThatIsNotElf) {
    ElfDynamic const elf = readElfDynamic(__FILE__);
    EXPECT_FALSE(elf.ok);
    EXPECT_NE(elf.error.find("not an ELF64"), std::string::npos);
}
