// What the targets of the table engine share: a small sound table, of which a target replaces one
// file by what its input makes of it, and the work that is then done with the table.
#ifndef PV_FUZZ_TABLE_WORK_H_
#define PV_FUZZ_TABLE_WORK_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/memory/memory_image.h"

namespace pv::fuzz {

// Sixteen people, one of them deleted, some with notes in the memo file, under kDataFile and its
// companions; tags on text, on an expression, and on a number (descending).
inline constexpr char kDataFile[] = "/t/people.pvg";
inline constexpr char kIndexFile[] = "/t/people.cdx";
inline constexpr char kMemoFile[] = "/t/people.fpt";
inline constexpr std::int32_t kPeople = 16;
const platform::MemoryImage& SoundTable();

// The image with other bytes in one of its files.
platform::MemoryImage With(platform::MemoryImage image, const std::string& path, std::string bytes);

// `whole` after the changes that an input describes, three bytes and more each:
//   op & 15 = n > 0   the n bytes that follow go to `offset`
//   op = 0x00         the file is cut at `offset`
//   op = 0x10         the 512 bytes around `offset` become zeros
//   op = 0x20         they get the content of the 512 bytes of which the next byte is the number
//   op = 0x30         `offset` zeros are put at the end
// `offset` is the two bytes behind op, big-endian; it wraps at the end of the file.
std::string Patched(std::string whole, const std::uint8_t* data, std::size_t size);

// Opens the table, shared, exclusively, and without its index; reads it in every order and every
// field, seeks, edits, checks, compacts and repairs it. Dies when a failure has no error, a walk
// does not end, an acknowledged record cannot be read back, or a repaired table is not sound.
// `records_are_sound` says that the data file is the sound one: then all records must survive.
void WorkOnTable(const platform::MemoryImage& image, bool records_are_sound);

}  // namespace pv::fuzz

#endif  // PV_FUZZ_TABLE_WORK_H_
