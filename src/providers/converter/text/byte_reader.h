// Binary fields in their order, every length checked: reading past the end gives zeros and is
// remembered.
#ifndef PV_PROVIDERS_CONVERTER_TEXT_BYTE_READER_H_
#define PV_PROVIDERS_CONVERTER_TEXT_BYTE_READER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/bytes.h"

namespace pv::converter {

class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

  // False once more was asked for than there was.
  bool ok() const { return ok_; }
  std::size_t left() const { return bytes_.size(); }

  // The next `size` bytes; empty when there are fewer.
  std::string_view Bytes(std::size_t size) {
    if (!ok_ || size > bytes_.size()) {
      ok_ = false;
      return {};
    }
    const std::string_view taken = bytes_.substr(0, size);
    bytes_.remove_prefix(size);
    return taken;
  }
  void Skip(std::size_t size) { Bytes(size); }

  std::uint8_t U8() {
    const std::string_view taken = Bytes(1);
    return ok_ ? static_cast<std::uint8_t>(taken[0]) : std::uint8_t{0};
  }
  std::uint16_t Le16() {
    const std::string_view taken = Bytes(2);
    return ok_ ? LoadLe16(taken.data()) : std::uint16_t{0};
  }
  std::uint32_t Le32() {
    const std::string_view taken = Bytes(4);
    return ok_ ? LoadLe32(taken.data()) : 0;
  }
  std::uint16_t Be16() {
    const std::string_view taken = Bytes(2);
    return ok_ ? LoadBe16(taken.data()) : std::uint16_t{0};
  }
  std::uint32_t Be32() {
    const std::string_view taken = Bytes(4);
    return ok_ ? LoadBe32(taken.data()) : 0;
  }

 private:
  std::string_view bytes_;
  bool ok_ = true;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_TEXT_BYTE_READER_H_
