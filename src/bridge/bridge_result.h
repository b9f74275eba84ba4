// Results and errors of one bridge request, and the two checks handlers throw with.
#pragma once

#include "json/value.h"

#include <cstdint>
#include <string>

// HTTP-style status of a result; stored and handed to the host as a 32-bit signed integer.
enum BridgeStatusCode : std::int32_t {
    BridgeStatusOK = 200,
    BridgeStatusBadRequest = 400,
    BridgeStatusNotFound = 404,
    BridgeStatusMethodNotAllowed = 405,
    BridgeStatusInternalError = 500,
};

struct BridgeError {
    std::string name;         // machine-readable, e.g. "BadRequestError"; empty for success
    std::string message;      // an English sentence; empty for success
    pocketjson::Value detail; // extra members for the page; "name" and "message" join an object
};

struct BridgeResult {
    BridgeStatusCode statusCode = static_cast<BridgeStatusCode>(0);
    BridgeError error;
    pocketjson::Value value; // the payload of a success

    // An error is a non-empty name or message, or a detail that is a non-empty object, array or
    // string; the status code plays no part.
    bool isError() const {
        if (!error.name.empty() || !error.message.empty())
            return true;
        pocketjson::Type const t = error.detail.type();
        return (t == pocketjson::Type::Object || t == pocketjson::Type::Array ||
                t == pocketjson::Type::String) &&
               error.detail.size() > 0;
    }
};

// What handlers return.
struct BridgeResultOK : BridgeResult {
    explicit BridgeResultOK(pocketjson::Value const& v) {
        statusCode = BridgeStatusOK;
        value = v;
    }
};

// The only type the bridge throws; thrown by value, caught by reference.
struct BridgeResultError : BridgeResult {
    BridgeResultError(BridgeStatusCode const& code, std::string const& name,
                      std::string const& message) {
        statusCode = code;
        error.name = name;
        error.message = message;
    }
};

// Throws 400 "BadRequestError" with `message` unless `condition` holds (checks on page input).
inline void BridgeCheckRequestCondition(bool condition, std::string const& message) {
    if (!condition)
        throw BridgeResultError(BridgeStatusBadRequest, "BadRequestError", message);
}

// Throws 500 "InternalError" with `message` unless `condition` holds (checks on system results).
inline void BridgeCheckError(bool condition, std::string const& message) {
    if (!condition)
        throw BridgeResultError(BridgeStatusInternalError, "InternalError", message);
}
