#include "tests/TestSupport.h"

#include <VarnoLink/CaptureRecorder.h>
#include <VarnoLink/RecordCutter.h>
#include <VarnoTraffic/InputFormat.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

namespace varno::test {
namespace {

constexpr Direction kDirections[] = {Direction::kToDisplay, Direction::kToPhone};

class CaptureRecorderTest : public testing::Test {
 protected:
  CaptureRecorderTest() {
    std::string name = (std::filesystem::temp_directory_path() / "varno-XXXXXX").string();
    folder_ = ::mkdtemp(name.data());
  }
  ~CaptureRecorderTest() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

 private:
  std::filesystem::path folder_;
};

LinkTime at(int milliseconds) { return LinkTime(std::chrono::milliseconds(milliseconds)); }

// The records of a file in which no more than that is damaged.
std::vector<TrafficRecord> recordsIn(const std::string& path, std::uint64_t mostWarnings = 0) {
  std::ifstream file(path, std::ios::binary);
  const auto reader = openRecords(file);
  std::vector<TrafficRecord> records;
  TrafficRecord record;
  while (reader->next(record)) records.push_back(record);
  EXPECT_LE(reader->warnings(), mostWarnings);
  return records;
}

Bytes streamOf(const std::vector<TrafficRecord>& records, Direction direction) {
  Bytes stream;
  for (const TrafficRecord& record : records) {
    if (record.direction != direction) continue;
    stream.insert(stream.end(), record.bytes.begin(), record.bytes.end());
  }
  return stream;
}

TEST_F(CaptureRecorderTest, KeepsBothStreamsInEveryForm) {
  for (const char* const name : {"all.pcapng", "all.txt", "all.jsonl"}) {
    std::array<Bytes, 2> streams;
    std::vector<TrafficRecord> cut;
    CaptureRecorder recorder(path(name), {.secrets = Secrets::kShown});
    RecordCutter cutter([&](const TrafficRecord& record) { cut.push_back(record); });
    std::mt19937 random(11);
    for (int step = 0; step < 1000; ++step) {
      const Direction direction = kDirections[random() % 2];
      Bytes chunk(random() % 40);
      for (std::uint8_t& byte : chunk) byte = static_cast<std::uint8_t>(random() % 7);
      if (random() % 100 == 0) chunk.resize(70'000, 0x41);
      const bool isFault = !chunk.empty() && random() % 20 == 0;
      const TrafficRecord fault = {at(step).time_since_epoch().count(), direction,
                                   RecordKind::kFault, chunk, "corrupt"};
      const TrafficRecord down = {at(step).time_since_epoch().count(), {}, RecordKind::kLinkDown};
      for (TrafficObserver* const observer :
           std::initializer_list<TrafficObserver*>{&recorder, &cutter}) {
        if (isFault) {
          observer->onRecord(fault);
        } else {
          observer->onBytes(at(step), direction, chunk, step == 7 ? "duplicate" : "");
        }
        if (step % 500 == 0) observer->onRecord(down);
      }
      Bytes& stream = streams[static_cast<std::size_t>(direction)];
      stream.insert(stream.end(), chunk.begin(), chunk.end());
    }
    cutter.finish(at(999));
    EXPECT_TRUE(recorder.close());
    EXPECT_EQ(recorder.counts().lostPieces, 0U);
    const std::vector<TrafficRecord> records = recordsIn(path(name));
    for (const Direction direction : kDirections) {
      EXPECT_TRUE(streamOf(records, direction) == streams[static_cast<std::size_t>(direction)]);
    }
    EXPECT_EQ(recorder.counts().records, cut.size());
    // The pcapng form knows no time 0 and puts a record without direction on one of them.
    EXPECT_TRUE(records == cut || std::string_view(name) == "all.pcapng") << name;
    EXPECT_EQ(std::count_if(records.begin(), records.end(),
                            [](const auto& record) { return record.note == "duplicate"; }),
              1);
  }
}

TEST_F(CaptureRecorderTest, LeavesAReadableFileWhereTheProcessIsKilled) {
  for (const char* const name : {"killed.pcapng", "killed.txt"}) {
    const std::string file = path(name);
    const pid_t child = ::fork();
    if (child == 0) {
      CaptureRecorder recorder(file);
      for (int frame = 0;; ++frame) {
        recorder.onBytes(at(frame), Direction::kToDisplay, kKeepAlive, {});
        if (frame % 1000 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    while (!std::filesystem::exists(file) || std::filesystem::file_size(file) < 400'000) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_GT(recordsIn(file, 1).size(), 5'000U);  // the kill may have cut off the last
  }
}

// A file that may not grow stands for a full disk.
TEST_F(CaptureRecorderTest, EndsWithWholeRecordsWhereTheDiskIsFull) {
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{100'001, before.rlim_max};
  std::atomic<int> failures = 0;
  CaptureRecorder recorder(path("full.pcapng"), {.onFailure = [&](const std::string& reason) {
                             EXPECT_EQ(reason, "File too large");
                             ++failures;
                           }});
  ::setrlimit(RLIMIT_FSIZE, &small);
  std::size_t shown = 0;
  const auto show = [&] {
    recorder.onBytes(at(1), Direction::kToPhone, Bytes(1'000, 0x41), {});
    ++shown;
  };
  while (!recorder.counts().hasFailed) show();
  show();
  EXPECT_FALSE(recorder.close());
  ::setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(failures, 1);
  const std::size_t kept = recordsIn(path("full.pcapng")).size();
  EXPECT_GT(kept, 90U);  // as many as it has room for
  EXPECT_EQ(recorder.counts().records, kept);
  EXPECT_EQ(recorder.counts().lostPieces, shown - kept);
  EXPECT_EQ(recorder.counts().lostBytes, 1'000 * (shown - kept));
}

TEST_F(CaptureRecorderTest, CountsAndTellsWhatItCouldNotKeep) {
  const std::string pipe = path("slow.txt");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const int descriptor = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  CaptureRecorder recorder(pipe, {.maxWaitingBytes = 200'000});
  constexpr std::size_t kFrames = 100'000;  // far more than the pipe and the queue hold
  for (std::size_t frame = 0; frame < kFrames; ++frame) {
    recorder.onBytes(at(1), Direction::kToDisplay, kKeepAlive, {});
  }
  const CaptureRecorder::Counts counts = recorder.counts();
  EXPECT_GT(counts.lostPieces, 0U);
  EXPECT_EQ(counts.lostBytes, counts.lostPieces * kKeepAlive.size());
  std::thread closer([&] { EXPECT_FALSE(recorder.close()); });
  std::ofstream copy(path("copy.txt"), std::ios::binary);
  ::fcntl(descriptor, F_SETFL, 0);
  std::array<char, 4096> buffer;
  for (ssize_t got = 0; (got = ::read(descriptor, buffer.data(), buffer.size())) > 0;) {
    copy.write(buffer.data(), got);
  }
  closer.join();
  ::close(descriptor);
  copy.close();
  std::uint64_t told = 0;  // in one place or, where the recorder got on meanwhile, in several
  std::size_t frames = 0;
  for (const TrafficRecord& record : recordsIn(path("copy.txt"))) {
    if (record.kind == RecordKind::kFrame) {
      ++frames;
    } else {
      const std::size_t number = record.note.find(' ');
      told += std::stoull(record.note.substr(0, number));
      EXPECT_EQ(record.note.substr(number), " bytes passed here that could not be recorded");
    }
  }
  EXPECT_EQ(told, counts.lostBytes);
  EXPECT_EQ(frames, kFrames - counts.lostPieces);
}

TEST_F(CaptureRecorderTest, RefusesWhatItCannotWrite) {
  EXPECT_THROW(CaptureRecorder(path("capture.pcap")), InvalidArgumentException);
  EXPECT_THROW(CaptureRecorder(path("none/a.pcapng")), std::system_error);
  CaptureRecorder recorder(path("any"), {.format = CaptureFormat::kPcapng});
  EXPECT_THROW(recorder.onRecord({.kind = RecordKind::kNote, .bytes = kKeepAlive}),
               InvalidArgumentException);
}

}  // namespace
}  // namespace varno::test
