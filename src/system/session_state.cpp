// Session state: the login users from "who -q", the presence status over gdbus, and the three
// session resources.
#include "system/session_state.h"

#include "fs/strings.h"
#include "loader/loaders.h"
#include "platform/ormic.h"
#include "system/command_line.h"
#include "system/system_resources.h"
#include "system/system_text.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <vector>

namespace kavri::system {

unsigned CountLoginUsers(std::string const& line) {
    std::vector<std::string> const names = string::split(line, " ");
    return static_cast<unsigned>(std::set<std::string>(names.begin(), names.end()).size());
}

std::optional<unsigned> GetLoginUsers() {
    std::string line;
    if (!RunCommandFirstLine(kWhoCommand, line))
        return std::nullopt;
    return CountLoginUsers(line);
}

char const* LoginStateName(unsigned users) {
    if (users == 0)
        return "off";
    return users == 1 ? "singleUser" : "multipleUsers";
}

std::string GetLockState() {
    return "unlocked";
}

bool PresenceReplyMeansRunning(std::string const& reply) {
    std::string status = reply.substr(0, reply.find('>'));
    std::size_t const space = status.rfind(' ');
    if (space != std::string::npos)
        status.erase(0, space + 1);
    if (status.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    long long const value = std::strtoll(status.c_str(), &end, 0);
    if (errno == ERANGE || end != status.c_str() + status.size())
        return false;
    return value >= INT32_MIN && value <= INT32_MAX && value != 0;
}

bool IsScreenSaverRunning() {
    std::string reply;
    return RunCommandFirstLine(kPresenceCommand, reply) && PresenceReplyMeansRunning(reply);
}

void ResetSystemIdleTimer() {}

} // namespace kavri::system

namespace kavri::bridge {

namespace {

// Calls the system-information library's optional text function `get` when it resolves and
// `filter` asks for `key`; a non-empty text becomes the member.
void addLibraryText(pocketjson::Value& answer, std::string const& filter, char const* key,
                    char const* (*get)()) {
    if (get == nullptr || !(filter.empty() || filter == key))
        return;
    std::string const text = system::LibraryText(get());
    if (!text.empty())
        answer[key] = text;
}

} // namespace

BridgeResult SystemLoginState::Get(BridgeData const& data) {
    uri += "System/LoginState";
    std::string const filter = data.query["filter"].toString("");
    pocketjson::Value answer(pocketjson::Type::Object);
    if (filter.empty() || filter == "state") {
        std::optional<unsigned> const users = system::GetLoginUsers();
        BridgeCheckError(users.has_value(), "Failed to open pipe 'who -q'.");
        answer["userCount"] = *users;
        answer["state"] = system::LoginStateName(*users);
    }
    ormicLoader& ormic = ormicLoader::loader();
    addLibraryText(answer, filter, "currentUser", KAVRI_LOOKUP(ormic, OrmGetUserName));
    addLibraryText(answer, filter, "domainName", KAVRI_LOOKUP(ormic, OrmGetDomainName));
    return BridgeResultOK(answer);
}

BridgeResult SystemLockState::Get(BridgeData const&) {
    uri += "System/LockState";
    pocketjson::Value answer(pocketjson::Type::Object);
    answer["state"] = system::GetLockState();
    return BridgeResultOK(answer);
}

BridgeResult SystemScreenSaver::Get(BridgeData const&) {
    uri += "System/ScreenSaver";
    pocketjson::Value answer(pocketjson::Type::Object);
    answer["isRunning"] = system::IsScreenSaverRunning();
    return BridgeResultOK(answer);
}

BridgeResult SystemScreenSaver::Delete(BridgeData const&) {
    uri += "System/ScreenSaver";
    system::CancelScreenSaver();
    return BridgeResultOK(pocketjson::Value());
}

} // namespace kavri::bridge
