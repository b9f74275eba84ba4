// The autostart entry's text, byte for byte, in-process.
#include "system/login_item.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using kavri::system::LoginItem;
using kavri::system::LoginItemEntry;

std::string const kHead = "#!/usr/bin/env xdg-open\n[Desktop Entry]\nType=Application\n";
std::string const kTail = "Terminal=false\nX-GNOME-Autostart-enabled=true\n";

TEST(LoginItemEntry, HoldsOnlyTheLinesItHasValuesFor) {
    struct Case {
        char const* behaviour;
        LoginItem item;
        std::string lines;
    };
    Case const cases[] = {
        {"everything given",
         {"Tolma", "/opt/t/icon.png", "Starts Tolma", "--hidden -v", "/opt/t/run"},
         "Name=Tolma\nExec=/opt/t/run --hidden -v\nIcon=/opt/t/icon.png\nComment=Starts Tolma\n"},
        {"no icon, comment or arguments",
         {"Tolma", "", "", "", "/opt/t/run"},
         "Name=Tolma\nExec=/opt/t/run\n"},
        {"arguments without a program", {"Tolma", "", "", "--x", ""}, "Name=Tolma\nExec= --x\n"},
        {"nothing but the name", {"T", "", "", "", ""}, "Name=T\nExec=\n"},
        {"text as given, unquoted",
         {"A \"b\" $c", "i;j", "tab\there %u", "'q' \\n", "/p q/r"},
         "Name=A \"b\" $c\nExec=/p q/r 'q' \\n\nIcon=i;j\nComment=tab\there %u\n"},
        {"a comment alone", {"T", "", "Grün", "", "/r"}, "Name=T\nExec=/r\nComment=Grün\n"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.behaviour);
        EXPECT_EQ(LoginItemEntry(c.item), kHead + c.lines + kTail);
    }
}

} // namespace
