// The module's process-wide objects, defined in one translation unit so that
// the language fixes their order: built top to bottom at load, destroyed in
// reverse at unload.
#include <cstdint>
#include <cstdlib>

#include "catalogs/module_cache.h"
#include "errors/error_lock.h"
#include "errors/message_queue.h"
#include "errors/msg_map.h"
#include "strings/string_block.h"

namespace {

constexpr std::uint32_t kDefaultBlockSize = 64;

// The decimal number at the start of the value, as atoi reads it (white
// space, sign, digits; 0 when no number stands there), without atoi's
// undefined overflow. Every capacity a block can hold, 0 to
// kMaxBlockCapacity, is taken as it is. Any other value (a negative one,
// which atoi would hand over as a capacity near 2^32, or a larger one) can
// size no block and counts as unset.
std::uint32_t ReadInitialBlockSize() {
  const char* text = std::getenv("KZ_INITIAL_STRING_BLOCK_SIZE");
  if (text == nullptr) return kDefaultBlockSize;
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  bool negative = false;
  if (*text == '+' || *text == '-') negative = *text++ == '-';
  std::uint32_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    const std::uint32_t digit = static_cast<std::uint32_t>(*text - '0');
    if (value > (kMaxBlockCapacity - digit) / 10) return kDefaultBlockSize;
    value = value * 10 + digit;
  }
  if (negative && value != 0) return kDefaultBlockSize;
  return value;
}

}  // namespace

// The table of open catalog modules with its lock: first, so that it exists
// before any catalog, and is destroyed after the default catalog's Close.
CKZModuleCache g_catalogCache;
// Builds the default catalog's name while g_initialBlockSize is still 0.
MsgMapStore g_msgMapStore;
// Its end routine destroys the entries that remain, unread.
MessageQueue g_messageQueue;

// Last of the initialisers: strings that the ones above build see 0 and get
// a capacity equal to their length.
std::uint32_t g_initialBlockSize = ReadInitialBlockSize();

// Constant-initialised before any of the above, and needs no end routine.
const CKZErrorHandling* g_errorLockOwner = nullptr;
