// The engine below the interfaces: files written by CompoundFile read back
// exactly after random changes checked against a model (both versions; the
// mini stream cutoff and many entries are read by independent readers in the
// interop test), freed space is reused, reservations are contiguous and a
// growing stream is laid out without holes, aligned as in the stream.
#include "storage/compound_file.h"
#include "storage/le.h"
#include "testing/memory_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace mlr::storage {
namespace {

using testing::MemoryFile;

std::vector<uint8_t> Pattern(size_t n, uint32_t seed) {
  std::vector<uint8_t> v(n);
  uint32_t x = seed * 2654435761u + 1;
  for (auto& b : v) {
    x = x * 1103515245u + 12345u;
    b = static_cast<uint8_t>(x >> 16);
  }
  return v;
}

struct Fixture {
  std::shared_ptr<MemoryFile::Bytes> bytes = std::make_shared<MemoryFile::Bytes>();

  std::shared_ptr<CompoundFile> Create(uint16_t version) {
    auto cf = CompoundFile::Create(std::make_unique<MemoryFile>(bytes), u"mem", version);
    EXPECT_TRUE(cf.ok()) << cf.status().message();
    return cf.ok() ? *cf : nullptr;
  }
  Result<std::shared_ptr<CompoundFile>> Open(bool writable = false) {
    return CompoundFile::Open(std::make_unique<MemoryFile>(bytes, writable), u"mem");
  }
};

std::vector<uint8_t> ReadStream(CompoundFile& cf, uint32_t storage, const std::u16string& name) {
  auto index = cf.Find(storage, name);
  EXPECT_TRUE(index.ok()) << index.status().message();
  if (!index.ok()) return {};
  auto node = cf.OpenStream(*index);
  EXPECT_TRUE(node.ok());
  std::vector<uint8_t> out(cf.StreamSize(**node));
  size_t got = 0;
  EXPECT_TRUE(cf.Read(**node, 0, out.data(), out.size(), &got).ok());
  EXPECT_EQ(got, out.size());
  return out;
}

class EngineVersions : public ::testing::TestWithParam<uint16_t> {};

TEST(Engine, ReplacedStreamsReuseFreedSectors) {
  Fixture f;
  auto cf = f.Create(3);
  for (int round = 0; round < 5; ++round) {
    auto index = cf->CreateElement(CompoundFile::kRoot, u"S", EntryType::kStream, true);
    ASSERT_TRUE(index.ok());
    auto node = *cf->OpenStream(*index);
    auto data = Pattern(20000, round);
    for (size_t pos = 0; pos < data.size(); pos += 512)
      ASSERT_TRUE(cf->Write(*node, pos, &data[pos], std::min<size_t>(512, data.size() - pos)).ok());
  }
  ASSERT_TRUE(cf->Flush().ok());
  EXPECT_LT(f.bytes->data.size(), 2u * 20000 + 8 * 512);
}

TEST(Engine, SetSizeReservesContiguousRuns) {
  // Two streams written in turn, each reserving 8 MiB ahead as a save does:
  // every reservation is one run, whatever the other stream does meanwhile.
  Fixture f;
  auto cf = f.Create(4);
  std::shared_ptr<StreamNode> nodes[2];
  for (int i = 0; i < 2; ++i) {
    auto index = cf->CreateElement(CompoundFile::kRoot, i ? u"B" : u"A", EntryType::kStream, false);
    ASSERT_TRUE(index.ok());
    nodes[i] = *cf->OpenStream(*index);
  }
  const uint64_t step = 8 << 20;
  const auto block = Pattern(1 << 20, 9);
  for (int reservation = 1; reservation <= 4; ++reservation) {
    for (auto& node : nodes) {
      ASSERT_TRUE(cf->SetSize(*node, reservation * step).ok());
      for (uint64_t pos = (reservation - 1) * step; pos < reservation * step; pos += block.size())
        ASSERT_TRUE(cf->Write(*node, pos, block.data(), block.size()).ok());
    }
  }
  for (auto& node : nodes) EXPECT_LE(cf->RunCount(*node), 4u);
  // Without reservations the runs of two interleaved writers are as short as their writes.
  auto c = *cf->OpenStream(*cf->CreateElement(CompoundFile::kRoot, u"C", EntryType::kStream, false));
  auto d = *cf->OpenStream(*cf->CreateElement(CompoundFile::kRoot, u"D", EntryType::kStream, false));
  for (uint64_t pos = 0; pos < (4u << 20); pos += block.size()) {
    ASSERT_TRUE(cf->Write(*c, pos, block.data(), block.size()).ok());
    ASSERT_TRUE(cf->Write(*d, pos, block.data(), block.size()).ok());
  }
  EXPECT_GE(cf->RunCount(*c), 4u);
}

TEST_P(EngineVersions, RandomChangesMatchAModel) {
  // Random creates, writes, resizes, renames and destroys on two storages,
  // checked against a plain model after every reopen, and streams read back
  // in between (what reads keep in memory must follow every change).
  Fixture f;
  std::map<std::u16string, std::vector<uint8_t>> model[2];
  uint32_t x = 12345;
  auto rnd = [&](uint32_t n) {
    x = x * 1664525u + 1013904223u;
    return (x >> 8) % n;
  };
  for (int round = 0; round < 6; ++round) {
    auto cf = round == 0 ? f.Create(GetParam()) : *f.Open(true);
    ASSERT_TRUE(cf);
    uint32_t storages[2] = {CompoundFile::kRoot, 0};
    auto sub = cf->Find(CompoundFile::kRoot, u"Sub");
    storages[1] = sub.ok() ? *sub : *cf->CreateElement(CompoundFile::kRoot, u"Sub", EntryType::kStorage, false);
    for (int op = 0; op < 300; ++op) {
      const int s = static_cast<int>(rnd(2));
      const std::u16string name = u"N" + std::u16string(1, static_cast<char16_t>(u'a' + rnd(20)));
      auto& m = model[s];
      if (m.count(name) && rnd(3) == 0) {
        EXPECT_EQ(ReadStream(*cf, storages[s], name), m[name]) << round << " " << op;
      }
      switch (rnd(5)) {
        case 0:  // destroy
          EXPECT_EQ(cf->DestroyElement(storages[s], name).ok(), m.erase(name) == 1);
          break;
        case 1: {  // rename
          const std::u16string to = u"N" + std::u16string(1, static_cast<char16_t>(u'a' + rnd(20)));
          if (m.count(name) && !m.count(to)) {
            ASSERT_TRUE(cf->RenameElement(storages[s], name, to).ok());
            m[to] = std::move(m[name]);
            m.erase(name);
          }
          break;
        }
        default: {  // write at a random place, maybe resize
          if (!m.count(name)) {
            ASSERT_TRUE(cf->CreateElement(storages[s], name, EntryType::kStream, false).ok());
          }
          auto& bytes = m[name];
          auto node = *cf->OpenStream(*cf->Find(storages[s], name));
          const size_t sizes[] = {10, 700, 3000, 5000, 20000, 70000};
          const size_t pos = bytes.empty() ? 0 : rnd(static_cast<uint32_t>(bytes.size()));
          auto data = Pattern(sizes[rnd(6)], x);
          ASSERT_TRUE(cf->Write(*node, pos, data.data(), data.size()).ok());
          if (bytes.size() < pos + data.size()) bytes.resize(pos + data.size());
          std::copy(data.begin(), data.end(), bytes.begin() + pos);
          if (rnd(3) == 0) {
            const size_t to = rnd(static_cast<uint32_t>(bytes.size() + 1));
            ASSERT_TRUE(cf->SetSize(*node, to).ok());
            bytes.resize(to);
          }
          break;
        }
      }
    }
    cf.reset();
    auto again = f.Open();
    ASSERT_TRUE(again.ok()) << again.status().message();
    uint32_t reopened[2] = {CompoundFile::kRoot, *(*again)->Find(CompoundFile::kRoot, u"Sub")};
    for (int s = 0; s < 2; ++s) {
      size_t streams = 0;
      for (const auto& e : (*again)->List(reopened[s])) streams += e.type == EntryType::kStream;
      EXPECT_EQ(streams, model[s].size()) << round;
      for (const auto& [name, bytes] : model[s]) {
        EXPECT_EQ(ReadStream(**again, reopened[s], name), bytes) << round;
      }
    }
  }
}

TEST(Engine, AFailedWriteOfASmallStreamLeavesWhatTheFileHolds) {
  auto bytes = std::make_shared<MemoryFile::Bytes>();
  auto faulty = std::make_unique<testing::FaultyFile>(std::make_unique<MemoryFile>(bytes));
  testing::FaultyFile* file = faulty.get();
  auto cf = CompoundFile::Create(std::move(faulty), u"mem", 4);
  ASSERT_TRUE(cf.ok());
  {
    auto node = *(*cf)->OpenStream(*(*cf)->CreateElement(CompoundFile::kRoot, u"A", EntryType::kStream, false));
    ASSERT_TRUE((*cf)->Write(*node, 0, Pattern(300, 1).data(), 300).ok());
  }
  EXPECT_EQ(ReadStream(**cf, CompoundFile::kRoot, u"A"), Pattern(300, 1));
  auto node = *(*cf)->OpenStream(*(*cf)->Find(CompoundFile::kRoot, u"A"));
  file->FailWritesAfter(0);
  const auto other = Pattern(300, 2);
  EXPECT_FALSE((*cf)->Write(*node, 0, other.data(), other.size()).ok());
  file->FailWritesAfter(INT64_MAX);
  node.reset();
  EXPECT_EQ(ReadStream(**cf, CompoundFile::kRoot, u"A"), Pattern(300, 1));
}

TEST_P(EngineVersions, AGrowingStreamIsAlignedInTheFileAsInTheStream) {
  // The FAT sectors a growing stream needs come in groups that put its next
  // data at a file offset agreeing with its stream position (modulo 64 KiB
  // at least once the stream has 512 KiB), so that after the first FAT group
  // every 64 KiB block lies on a 64 KiB boundary of the file.
  Fixture f;
  auto cf = f.Create(GetParam());
  auto node = *cf->OpenStream(*cf->CreateElement(CompoundFile::kRoot, u"S", EntryType::kStream, false));
  const size_t block = 64 << 10, total = 12 << 20;
  std::map<uint64_t, size_t> first_bytes;  // block index by its first 8 bytes
  for (size_t pos = 0; pos < total; pos += block) {
    const auto data = Pattern(block, static_cast<uint32_t>(pos / block));
    first_bytes[Load64(data.data())] = pos / block;
    ASSERT_TRUE(cf->Write(*node, pos, data.data(), data.size()).ok());
  }
  ASSERT_EQ(first_bytes.size(), total / block);
  // Each FAT sector (and, in version 3, DIFAT sector) the stream needs is
  // written before the data after it: before the flush no sector is a hole.
  const std::vector<uint8_t> unflushed = MemoryFile(f.bytes).Snapshot();
  const size_t ss = GetParam() == 3 ? 512 : 4096;
  ASSERT_EQ(unflushed.size() % ss, 0u);
  for (size_t at = ss; at < unflushed.size(); at += ss) {
    EXPECT_FALSE(std::all_of(unflushed.begin() + at, unflushed.begin() + at + ss, [](uint8_t b) { return b == 0; }))
        << "sector " << at / ss - 1 << " is a hole";
  }
  ASSERT_TRUE(cf->Flush().ok());
  const std::vector<uint8_t> bytes = MemoryFile(f.bytes).Snapshot();
  EXPECT_LT(bytes.size(), total + total / 8 + (64 << 10));
  std::vector<bool> aligned(total / block, false);
  for (size_t at = 0; at + block <= bytes.size(); at += block) {
    auto it = first_bytes.find(Load64(&bytes[at]));
    if (it == first_bytes.end()) continue;
    const auto data = Pattern(block, static_cast<uint32_t>(it->second));
    aligned[it->second] = std::equal(data.begin(), data.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  }
  // Version 4 needs its second FAT sector at 4 MiB, version 3 its ninth at 512 KiB.
  const size_t from = GetParam() == 4 ? (4 << 20) / block : (1 << 20) / block;
  for (size_t i = from; i < aligned.size(); ++i) EXPECT_TRUE(aligned[i]) << "block " << i << " is not aligned";
  node.reset();
  cf.reset();
  auto back = f.Open();
  ASSERT_TRUE(back.ok()) << back.status().message();
  const auto read = ReadStream(**back, CompoundFile::kRoot, u"S");
  ASSERT_EQ(read.size(), total);
  for (size_t pos = 0; pos < total; pos += block)
    ASSERT_TRUE(std::equal(read.begin() + static_cast<std::ptrdiff_t>(pos),
                           read.begin() + static_cast<std::ptrdiff_t>(pos + block),
                           Pattern(block, static_cast<uint32_t>(pos / block)).begin()))
        << pos;
}

INSTANTIATE_TEST_SUITE_P(Both, EngineVersions, ::testing::Values(3, 4));

}  // namespace
}  // namespace mlr::storage
