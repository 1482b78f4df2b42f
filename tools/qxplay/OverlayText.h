// Text as the overlay draws it. Pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// From UTF-8 to GB2312, in one or two bytes a character; none when it has characters that GB2312 does not
// have, or is no UTF-8.
std::optional<std::string> ToGb2312(std::string_view text);
