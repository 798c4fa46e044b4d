#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelvar::detail {

// Line-by-line reading of a text buffer with line numbers, plus the token
// and number parsing shared by the text mesh formats. Nothing here reads
// outside the buffer or allocates.
class TextScanner {
public:
    TextScanner(const char* begin, const char* end) : next_(begin), end_(end) {}

    // The next line without its terminator ("\n", "\r\n" or "\r"); false at the end.
    bool nextLine(std::string_view& line);
    // Number of the line last returned, from 1.
    std::size_t lineNumber() const { return lineNumber_; }
    // Where the next line starts.
    const char* position() const { return next_; }

private:
    const char* next_;
    const char* end_;
    std::size_t lineNumber_ = 0;
};

// Splits off the next whitespace-separated token of `rest`; false when none is left.
bool nextToken(std::string_view& rest, std::string_view& token);
// A finite decimal number (a leading '+' is allowed); false otherwise.
bool parseFiniteFloat(std::string_view token, float& value);
bool parseFiniteDouble(std::string_view token, double& value);
// A whole decimal number within the range of int64.
bool parseInteger(std::string_view token, int64_t& value);

}  // namespace kelvar::detail
