// The demo: a tour of the default world as a list of steps, each narration and a session command.
#pragma once

#include <vector>

namespace tolmahost {

class Session;

struct DemoStep {
    char const* narration; // printed as "== NARRATION" before the command; "" for none
    char const* command;   // a session command; "" for narration only
};

// The tour, in order.
std::vector<DemoStep> const& demoSteps();

// Runs the steps in a session that is already set up. A failing step ends the demo with a
// HostError naming it.
void runDemo(Session& session);

} // namespace tolmahost
