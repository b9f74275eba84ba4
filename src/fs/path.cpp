// fs::Path: construction with one trailing separator dropped, and joining.
#include "fs/path.h"

#include <utility>

namespace fs {

Path::Path(std::string text) : text_(std::move(text)) {
    if (!text_.empty() && (text_.back() == '/' || text_.back() == '\\'))
        text_.pop_back();
}

Path::Path(char const* text) : Path(std::string(text ? text : "")) {}

Path operator/(Path const& left, std::string const& right) {
    std::string joined;
    joined.reserve(left.str().size() + 1 + right.size());
    joined += left.str();
    joined += '/';
    joined += right;
    return Path(std::move(joined));
}

Path operator/(Path const& left, char const* right) {
    return left / std::string(right ? right : "");
}

Path operator/(Path const& left, Path const& right) {
    return left / right.str();
}

bool operator==(Path const& left, Path const& right) {
    return left.str() == right.str();
}

bool operator!=(Path const& left, Path const& right) {
    return !(left == right);
}

} // namespace fs
