// Corrupt files give a clean status naming the layer, one case per kind of
// damage; I/O faults surface as statuses. Each damaged file is also left in
// the fuzz corpus as a seed.
#include "storage/compound_file.h"
#include "storage/le.h"
#include "testing/memory_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace mlr::storage {
namespace {

using testing::FaultyFile;
using testing::MemoryFile;

void SaveSeed(const std::string& name, const std::vector<uint8_t>& bytes) {
  const char* dir = std::getenv("MLR_CORPUS_DIR");
  if (!dir) return;
  std::filesystem::path path = std::filesystem::path(dir) / "storage";
  std::filesystem::create_directories(path);
  std::ofstream(path / name, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// A version 3 file: "Data" (entry 1) holding "Big" (entry 2, 10000 bytes in
// ordinary sectors) and "Small" (entry 3, 100 bytes in the mini stream).
std::vector<uint8_t> SampleFile(uint16_t version = 3, size_t big = 10000) {
  auto bytes = std::make_shared<MemoryFile::Bytes>();
  {
    auto cf = *CompoundFile::Create(std::make_unique<MemoryFile>(bytes), u"m", version);
    auto data = *cf->CreateElement(CompoundFile::kRoot, u"Data", EntryType::kStorage, false);
    std::vector<uint8_t> content(big, 0x5A);
    for (auto [name, size] : {std::pair<const char16_t*, size_t>{u"Big", big}, {u"Small", 100}}) {
      auto node = *cf->OpenStream(*cf->CreateElement(data, name, EntryType::kStream, false));
      EXPECT_TRUE(cf->Write(*node, 0, content.data(), size).ok());
    }
  }
  SaveSeed("valid_v" + std::to_string(version) + "_" + std::to_string(big), bytes->data);
  return bytes->data;
}

struct Layout {
  std::vector<uint8_t>& b;
  uint32_t ss() const { return 1u << Load16(&b[30]); }
  size_t SectorOffset(uint32_t s) const { return (static_cast<size_t>(s) + 1) * ss(); }
  size_t Entry(uint32_t i) const { return SectorOffset(Load32(&b[48])) + 128 * i; }  // first directory sector
  size_t FatEntry(uint32_t s) const { return SectorOffset(Load32(&b[76])) + 4 * s; }  // first FAT sector
  uint32_t StartOf(uint32_t entry) const { return Load32(&b[Entry(entry) + 116]); }
  size_t MiniFatEntry(uint32_t s) const { return SectorOffset(Load32(&b[60])) + 4 * s; }
};

Status OpenBytes(const std::vector<uint8_t>& bytes) {
  auto cf = CompoundFile::Open(MemoryFile::FromVector(bytes, false), u"m");
  return cf.ok() ? Status::Ok() : cf.status();
}

void ExpectCorrupt(const std::string& seed, std::vector<uint8_t> bytes, Code code, const std::string& needle) {
  SaveSeed(seed, bytes);
  Status st = OpenBytes(bytes);
  EXPECT_EQ(st.code(), code) << seed << ": " << st.message();
  EXPECT_NE(st.message().find(needle), std::string::npos) << seed << ": \"" << st.message() << "\"";
}

// A copy of `b` with the little-endian `value` of `width` bytes at `at`.
std::vector<uint8_t> Patched(std::vector<uint8_t> b, size_t at, uint64_t value, size_t width) {
  if (at > b.size() || width > b.size() - at) throw std::out_of_range("patch beyond the file");
  for (size_t i = 0; i < width; ++i) b[at + i] = static_cast<uint8_t>(value >> (8 * i));
  return b;
}

TEST(Malformed, HeaderDamage) {
  const auto b = SampleFile();
  ASSERT_TRUE(OpenBytes(b).ok()) << "the undamaged sample";
  const struct {
    const char* seed;
    size_t at, width;
    uint64_t value;
    Code code;
    const char* needle;
  } cases[] = {
      {"bad_signature", 0, 1, 0, Code::kNotCompound, "signature"},
      {"bad_shift", 30, 2, 12, Code::kCorrupt, "header: sector shift 12"},
      {"v4_with_512", 26, 2, 4, Code::kCorrupt, "sector shift 9 does not fit version 4"},
      {"byte_order", 28, 2, 0xFEFF, Code::kCorrupt, "byte order"},
      {"cutoff", 56, 4, 100, Code::kCorrupt, "cutoff"},
  };
  for (const auto& c : cases) ExpectCorrupt(c.seed, Patched(b, c.at, c.value, c.width), c.code, c.needle);
  ExpectCorrupt("empty", {}, Code::kNotCompound, "signature");
}

TEST(Malformed, TruncatedFile) {
  auto b = SampleFile();
  ExpectCorrupt("header_only", std::vector<uint8_t>(b.begin(), b.begin() + 300), Code::kCorrupt, "shorter than the header");
  // Cut inside the data of "Big": its chain runs past the last sector.
  Layout l{b};
  size_t cut = l.SectorOffset(l.StartOf(2)) + 1024;
  ExpectCorrupt("truncated", std::vector<uint8_t>(b.begin(), b.begin() + cut), Code::kCorrupt, "beyond the last sector");
}

TEST(Malformed, FatDamage) {
  auto b = SampleFile();
  Layout l{b};
  const uint32_t start = l.StartOf(2);
  auto cycle = b;
  Store32(&cycle[l.FatEntry(start + 3)], start + 1);
  ExpectCorrupt("fat_cycle", cycle, Code::kCorrupt, "FAT: sector " + std::to_string(start + 1) + " is linked twice");
  auto self = b;
  Store32(&self[l.FatEntry(start)], start);
  ExpectCorrupt("fat_self_loop", self, Code::kCorrupt, "is linked twice");
  auto range = b;
  Store32(&range[l.FatEntry(start)], 0x00ABCDEF);
  ExpectCorrupt("fat_out_of_range", range, Code::kCorrupt, "links to sector 11259375");
  auto special = b;
  Store32(&special[l.FatEntry(start)], 0xFFFFFFFB);
  ExpectCorrupt("fat_bad_special", special, Code::kCorrupt, "invalid link");
  auto short_chain = b;
  Store32(&short_chain[l.FatEntry(start)], 0xFFFFFFFE);
  ExpectCorrupt("fat_short_chain", short_chain, Code::kCorrupt, "stream \"Big\" of 10000 bytes has only 1 sectors");
  auto count = b;
  Store32(&count[44], 0x7FFFFFFF);
  ExpectCorrupt("fat_count", count, Code::kCorrupt, "FAT: 2147483647 FAT sectors");
}

TEST(Malformed, DifatDamage) {
  // Enough data for more than 109 FAT sectors: DIFAT sectors in use.
  auto b = SampleFile(3, 8 << 20);
  Layout l{b};
  ASSERT_GE(Load32(&b[72]), 1u);
  const uint32_t first = Load32(&b[68]);
  auto ends = b;
  Store32(&ends[68], 0xFFFFFFFE);
  ExpectCorrupt("difat_missing", ends, Code::kCorrupt, "DIFAT: ends after 109");
  auto twice = b;
  Store32(&twice[l.SectorOffset(first) + 4], Load32(&b[76]));  // lists FAT sector 0 again
  ExpectCorrupt("difat_duplicate", twice, Code::kCorrupt, "is listed twice");
  auto range = b;
  Store32(&range[68], 0x00FFFFF0);
  ExpectCorrupt("difat_out_of_range", range, Code::kCorrupt, "DIFAT: DIFAT sector 16777200 beyond");
  // A DIFAT chain that points back to itself when it needs a second sector.
  auto loop = b;
  const uint32_t fat_sectors = Load32(&b[44]);
  Store32(&loop[44], fat_sectors + 200);
  for (uint32_t i = fat_sectors - 109; i < 127; ++i)  // fill the rest with distinct sectors
    Store32(&loop[l.SectorOffset(first) + 4 * i], l.StartOf(2) + i);
  Store32(&loop[l.SectorOffset(first) + 508], first);
  ExpectCorrupt("difat_loop", loop, Code::kCorrupt, "DIFAT: DIFAT sector " + std::to_string(first) + " is listed twice");
}

TEST(Malformed, MiniFatDamage) {
  auto b = SampleFile();
  Layout l{b};
  const uint32_t small = l.StartOf(3);
  auto cycle = b;
  Store32(&cycle[l.MiniFatEntry(small + 1)], small);
  ExpectCorrupt("minifat_cycle", cycle, Code::kCorrupt, "mini FAT: sector " + std::to_string(small) + " is linked twice");
  auto range = b;
  Store32(&range[l.MiniFatEntry(small)], 5000);
  ExpectCorrupt("minifat_out_of_range", range, Code::kCorrupt, "mini FAT: mini sector");
  auto ministream = b;
  Store64(&ministream[l.Entry(0) + 120], 1 << 20);  // the root's size: the mini stream
  ExpectCorrupt("ministream_size", ministream, Code::kCorrupt, "mini stream: size 1048576 beyond");
}

TEST(Malformed, DirectoryDamage) {
  auto b = SampleFile();
  Layout l{b};
  auto loop = b;
  Store32(&loop[l.Entry(2) + 68], 1);  // "Big"'s left sibling is its parent "Data"
  ExpectCorrupt("dir_loop", loop, Code::kCorrupt, "directory: entry 1 is reached twice");
  auto child_loop = b;
  Store32(&child_loop[l.Entry(1) + 76], 0);  // "Data"'s children start at the root
  ExpectCorrupt("dir_child_root", child_loop, Code::kCorrupt, "directory:");
  auto range = b;
  Store32(&range[l.Entry(1) + 76], 5000);
  ExpectCorrupt("dir_out_of_range", range, Code::kCorrupt, "points to entry 5000");
  auto type = b;
  type[l.Entry(3) + 66] = 7;
  ExpectCorrupt("dir_type", type, Code::kCorrupt, "entry 3 has the unknown type 7");
  auto empty_in_tree = b;
  empty_in_tree[l.Entry(3) + 66] = 0;
  ExpectCorrupt("dir_empty_in_tree", empty_in_tree, Code::kCorrupt, "neither a storage nor a stream");
  // Name lengths count the terminator: 2..64 bytes, even, NUL-terminated.
  // A length of 0 would list a nameless stream in place of "Big".
  const struct {
    const char* seed;
    uint16_t length;
    const char* needle;
  } names[] = {{"dir_name_length_66", 66, "name length 66"},
               {"dir_name_length_0", 0, "name length 0"},
               {"dir_name_length_odd", 7, "name length 7"},
               {"dir_name_32_chars", 64, "no terminator within its name length 64"}};
  for (const auto& c : names) {
    auto name = b;
    for (size_t i = 0; i < 64; i += 2) Store16(&name[l.Entry(2) + i], static_cast<uint16_t>(u'a' + i / 2 % 26));
    Store16(&name[l.Entry(2) + 64], c.length);
    ExpectCorrupt(c.seed, name, Code::kCorrupt, c.needle);
  }
  auto root = b;
  root[l.Entry(0) + 66] = 1;
  ExpectCorrupt("dir_no_root", root, Code::kCorrupt, "entry 0 is not the root");
  auto size = b;
  Store64(&size[l.Entry(2) + 120], 1000000000);
  ExpectCorrupt("stream_size", size, Code::kCorrupt, "stream \"Big\" of 1000000000 bytes has only");
  auto twins = b;
  std::copy(b.begin() + l.Entry(2), b.begin() + l.Entry(2) + 66, twins.begin() + l.Entry(3));  // "Small" renamed "Big"
  ExpectCorrupt("dir_duplicate_names", twins, Code::kCorrupt, "two elements named \"Big\"");
}

TEST(Malformed, IoFaultsBecomeStatuses) {
  auto b = SampleFile();
  auto faulty = std::make_unique<FaultyFile>(MemoryFile::FromVector(b, false));
  faulty->FailReadsFrom(1024);
  auto cf = CompoundFile::Open(std::move(faulty), u"m");
  EXPECT_EQ(cf.status().code(), Code::kReadFault);

  auto writer = std::make_unique<FaultyFile>(MemoryFile::FromVector(b, true));
  FaultyFile* w = writer.get();
  auto rw = CompoundFile::Open(std::move(writer), u"m");
  ASSERT_TRUE(rw.ok());
  w->FailWritesAfter(0);
  auto node = (*rw)->OpenStream(*(*rw)->Find(*(*rw)->Find(CompoundFile::kRoot, u"Data"), u"Big"));
  std::vector<uint8_t> more(9000, 1);
  EXPECT_EQ((*rw)->Write(**node, 10000, more.data(), more.size()).code(), Code::kMediumFull);
  EXPECT_EQ((*rw)->Flush().code(), Code::kMediumFull);
  w->FailWritesAfter(INT64_MAX);
}

}  // namespace
}  // namespace mlr::storage
