// fs::Path: a file-system path text that drops one trailing separator and joins with '/'.
#pragma once

#include <string>

namespace fs {

// A path as the system gives it (bytes, no encoding assumed). Constructing from a text removes
// exactly one trailing '/' or '\\' (so "/tmp/" is "/tmp", "a//" is "a/" and "/" is empty);
// nothing else about the text is changed. Joining writes one '/' between the two parts.
class Path {
public:
    Path() = default;
    Path(std::string text);
    Path(char const* text);
    virtual ~Path() = default;

    Path(Path const&) = default;
    Path(Path&&) = default;
    Path& operator=(Path const&) = default;
    Path& operator=(Path&&) = default;

    std::string const& str() const { return text_; }
    char const* c_str() const { return text_.c_str(); }
    bool empty() const { return text_.empty(); }

private:
    std::string text_;
};

// The left path, one '/', then the right text; the result is a Path, so a trailing separator of
// the right text is dropped like any other. An empty left path gives "/" + right.
Path operator/(Path const& left, std::string const& right);
Path operator/(Path const& left, char const* right);
Path operator/(Path const& left, Path const& right);

bool operator==(Path const& left, Path const& right);
bool operator!=(Path const& left, Path const& right);

} // namespace fs
