// The demo: a tour of the default world as a list of steps, each narration and a session command.
#include "devhost/demo.h"

#include "devhost/host_error.h"
#include "devhost/interpreter.h"
#include "devhost/printer.h"

#include <string>

namespace tolmahost {

std::vector<DemoStep> const& demoSteps() {
    // Each resource's handler adds its steps here when it lands.
    static std::vector<DemoStep> const steps = {
        {"What libtolma.so.2 exports: one function per resource, and five more", "resources"},
        {"The simulated world the stand-in libraries answer from", "world list"},
        {"A request is four JSON texts; every answer settles one promise and writes one log line. "
         "A short inventory: the computer and its operating system",
         "get SystemInformation --query {\"pc\":1,\"os\":1}"},
        {"Three processes, asked by name",
         "get SystemProcesses --params {\"process\":\"systemd\"}"},
        {"", "get SystemProcesses --params {\"process\":\"Xorg\"}"},
        {"", "get SystemProcesses --params {\"process\":\"gimp-2.10\"}"},
        {"A method that a resource does not serve answers 405 MethodError, as the page sees it",
         "call SystemLoginItem"},
        {"The desktop's screens as the page lists them; the first listing also starts the "
         "screen-change watch",
         "get Screens"},
        {"The graphics-card gamma ramps of the first screen (256 values per colour)",
         "get ScreenAtIndex --params {\"index\":0} --query {\"gamma\":1}"},
        {"The screens containing the desktop point (100, 300), and their graphics card",
         "get ScreensForPoint --params {\"point\":\"100x300\"} --query {\"graphicsCard\":1}"},
        {"The laptop lid closes: only the maker's monitor is left. The host forwards the X "
         "screen-change event, and about 3 s later the plug-in pushes \"screenChanged\"",
         "wait 0.1"},
        {"", "screens change [{\"id\":\"DP-1\",\"bounds\":{\"x\":0,\"y\":0,\"width\":2560,"
             "\"height\":1440},\"refreshRate\":59.951,\"primary\":true}]"},
        {"", "wait event screenChanged 10"},
        {"", "call SystemLoginItem --method put --params {\"name\":\"Tolma\"}"},
        {"The extra functions a host calls directly", "idle reset"},
        {"", "power disable"},
        {"", "power restore"},
        {"USB hot-plug watching: is it available here?",
         "get DeviceNotification --query {\"supports\":1}"},
        {"Switching it on reports the devices already attached to the watcher at once; the answer "
         "lists what changed since the device managers first looked (nothing yet)",
         "put DeviceNotification"},
        {"The watcher looks at the attached devices once more (a monitor after 1 s, then 0.6 s "
         "later); nothing has changed, so nothing is pushed",
         "wait 2"},
        {"Unplugging the maker's monitor: 0.6 s after the USB event the plug-in pushes "
         "\"monitorChanged\"",
         "unplug monitor 23A04117"},
        {"", "wait event monitorChanged 5"},
        {"Plugging it in again", "plug monitor 23A04117"},
        {"", "wait event monitorChanged 5"},
        {"The colour sensor and the lighting device go and come back",
         "unplug sensor 2001"},
        {"", "wait event sensorChanged 5"},
        {"", "unplug lighting LB500042"},
        {"", "wait event lightingEquipmentChanged 5"},
        {"", "plug lighting LB500042"},
        {"", "wait event lightingEquipmentChanged 5"},
        {"Switching hot-plug watching off", "delete DeviceNotification"},
        {"Events are printed as the plug-in pushes them; these were not waited for", "events"},
    };
    return steps;
}

void runDemo(Session& session) {
    Printer& printer = Printer::instance();
    Interpreter interpreter(session);
    std::vector<DemoStep> const& steps = demoSteps();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        DemoStep const& step = steps[i];
        if (step.narration[0] != '\0')
            printer.print(std::string("== ") + step.narration);
        if (step.command[0] == '\0')
            continue;
        printer.print(std::string("> ") + step.command);
        try {
            interpreter.runLine(step.command);
        } catch (HostError const& error) {
            throw HostError("demo step " + std::to_string(i + 1) + " (" + step.command +
                                ") failed: " + error.what(),
                            error.exitStatus());
        }
    }
    printer.print("== Done: TearDown follows, then the plug-in is unloaded");
}

} // namespace tolmahost
