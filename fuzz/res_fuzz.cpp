// The .res reader on arbitrary bytes: the first four bytes choose the string
// id and the user's language, the rest is the image. libFuzzer hands over a
// heap block of exactly the input's size, so any read past the image is
// caught by AddressSanitizer.
#include <cstddef>
#include <cstdint>

#include "platform/posix/string_table.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size < 4) return 0;
  const UINT id = static_cast<UINT>(data[0] | data[1] << 8);
  const platform::LangId language =
      static_cast<platform::LangId>(data[2] | data[3] << 8);
  const std::uint8_t* image = data + 4;
  const std::size_t imageSize = size - 4;

  // A copied text is terminated within the limit; with no block the buffer
  // may stay as it was.
  WCHAR buffer[300] = {};
  int count = platform::LoadStringFromImage(image, imageSize, id, language,
                                            buffer, 300);
  if (count < 0 || count >= 300 || buffer[count] != 0) __builtin_trap();

  // Limit 0: the text in place must lie inside the image.
  const WCHAR* text = nullptr;
  int length = platform::LoadStringFromImage(
      image, imageSize, id, language, reinterpret_cast<LPWSTR>(&text), 0);
  if (length > 0) {
    const std::uint8_t* begin = reinterpret_cast<const std::uint8_t*>(text);
    if (begin < image ||
        begin + 2 * static_cast<std::size_t>(length) > image + imageSize) {
      __builtin_trap();
    }
  }
  return 0;
}
