// What the fuzz targets that run operation sequences against a model share:
// the failure report, the reader of operand bytes, and the run of one input.
#ifndef KZCOMMON_FUZZ_MODEL_SEQUENCE_H_
#define KZCOMMON_FUZZ_MODEL_SEQUENCE_H_

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kzfuzz {

// A disagreement with the model: libFuzzer and the replay both report an
// abort with the input that caused it.
inline void Check(bool condition) {
  if (!condition) std::abort();
}

// Operand bytes, read front to back; 0 once they run out.
class ByteReader {
 public:
  ByteReader(const std::uint8_t* data, std::size_t size)
      : p_(data), end_(data + size) {}
  bool More() const { return p_ < end_; }
  unsigned Byte() { return p_ < end_ ? *p_++ : 0; }

 private:
  const std::uint8_t* p_;
  const std::uint8_t* end_;
};

// One input: the first byte picks the locale ("C" or "C.UTF-8"), then up to
// 256 operations run on `Slots` subjects and their models, and every subject
// is checked against its model at the end.
template <typename Input, typename Subject, typename Model, int Slots,
          typename StepFn, typename VerifyFn>
int RunSequence(const std::uint8_t* data, std::size_t size, StepFn step,
                VerifyFn verify) {
  if (size == 0) return 0;
  if (std::setlocale(LC_ALL, (data[0] & 1) != 0 ? "C.UTF-8" : "C") == nullptr)
    return 0;
  Input in(data + 1, size - 1);
  Subject s[Slots];
  Model m[Slots];
  for (int steps = 0; in.More() && steps < 256; ++steps) step(in, s, m);
  for (int k = 0; k < Slots; ++k) verify(s[k], m[k]);
  return 0;
}

}  // namespace kzfuzz

#endif  // KZCOMMON_FUZZ_MODEL_SEQUENCE_H_
