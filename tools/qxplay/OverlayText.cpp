#include "tools/qxplay/OverlayText.h"

#include <iconv.h>

std::optional<std::string> ToGb2312(std::string_view text) {
  const iconv_t converter = iconv_open("GB2312", "UTF-8");
  if (converter == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  std::string input(text), output(text.size(), '\0');  // no character gets longer
  char* from = input.data();
  char* to = output.data();
  size_t left = input.size(), room = output.size();
  const bool converted = iconv(converter, &from, &left, &to, &room) == 0;
  iconv_close(converter);
  if (!converted) return std::nullopt;
  output.resize(output.size() - room);
  return output;
}
