#include "kv_geometry/detail/TextScanner.h"

#include <charconv>
#include <cmath>

namespace kelvar::detail {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }

std::string_view withoutPlus(std::string_view token) {
    if (token.size() > 1 && token[0] == '+') token.remove_prefix(1);
    return token;
}

template <class F>
bool parseFinite(std::string_view token, F& value) {
    token = withoutPlus(token);
    F parsed{};
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), parsed);
    if (error != std::errc() || end != token.data() + token.size() || !std::isfinite(parsed)) return false;
    value = parsed;
    return true;
}

}  // namespace

bool TextScanner::nextLine(std::string_view& line) {
    if (next_ >= end_) return false;
    const char* start = next_;
    const char* stop = start;
    while (stop < end_ && *stop != '\n' && *stop != '\r') ++stop;
    line = std::string_view(start, std::size_t(stop - start));
    next_ = stop;
    if (next_ < end_) {
        const bool carriageReturn = *next_ == '\r';
        ++next_;
        if (carriageReturn && next_ < end_ && *next_ == '\n') ++next_;
    }
    ++lineNumber_;
    return true;
}

bool nextToken(std::string_view& rest, std::string_view& token) {
    std::size_t begin = 0;
    while (begin < rest.size() && isSpace(rest[begin])) ++begin;
    if (begin == rest.size()) {
        rest = {};
        return false;
    }
    std::size_t end = begin;
    while (end < rest.size() && !isSpace(rest[end])) ++end;
    token = rest.substr(begin, end - begin);
    rest.remove_prefix(end);
    return true;
}


bool parseFiniteFloat(std::string_view token, float& value) { return parseFinite(token, value); }
bool parseFiniteDouble(std::string_view token, double& value) { return parseFinite(token, value); }

bool parseInteger(std::string_view token, int64_t& value) {
    token = withoutPlus(token);
    int64_t parsed = 0;
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), parsed);
    if (error != std::errc() || end != token.data() + token.size() || token.empty()) return false;
    value = parsed;
    return true;
}

}  // namespace kelvar::detail
