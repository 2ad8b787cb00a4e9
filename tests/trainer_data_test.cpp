// Training records and how the trainer reads them: random games from starts with every kind
// of right pack and unpack to the same men, rights, check and evaluation; a set read in chunks,
// of whatever size, gives each epoch exactly the records that reading the whole files into
// memory gives, each once; the held-out records don't depend on the chunks; torn tails and
// records that no game gives are left out; mirrored records.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "common/record_features.h"
#include "common/training_file.h"
#include "common/training_record.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "games/chess960_start.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"
#include "helpers/board_fixtures.h"
#include "helpers/scratch_files.h"
#include "helpers/training_fixtures.h"
#include "trainer/training_set.h"

namespace {

namespace fs = std::filesystem;

int32_t evaluate_at(ThreadData& scratch, const Position& pos) {
  scratch.position_stack[0] = pos;
  scratch.current_position = scratch.position_stack;
  scratch.ply_records[0].acc_valid = 0;
  return evaluate(scratch, 0);
}

TEST(TrainingRecord, RandomGamesRoundTripBoardRightsAndEvaluation) {
  load_network(tesmar_embedded_network);
  // The start (32 pieces), pawns about to promote, rights on one side only, Chess960 starts
  // with rooks off the a- and h-files.
  const struct {
    std::string fen;
    bool chess960;
  } starts[] = {{START_FEN, false},
                {"r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBP1P/R3K2R w KQkq - 0 1", false},
                {"k7/3PPP2/8/8/8/8/2ppp3/7K w - - 0 1", false},
                {"r3k2r/8/8/8/8/8/8/R3K2R b Kq - 0 1", false},
                {chess960_start_fen(0), true},
                {chess960_start_fen(959), true}};
  auto scratch = std::make_unique<ThreadData>();
  SplitMixRng rng{11};
  std::set<int32_t> evaluations;
  for (const auto& [fen, chess960] : starts) {
    const Chess960Option option(chess960);
    for (int game_index = 0; game_index < 6; ++game_index) {
      GameBoard game;
      start_board(game, fen.c_str());
      for (int ply = 0; ply < 150; ++ply) {
        const Position pos = board_position(game);
        const int score = int(rng.next() % 6001) - 3000, result = int(rng.next() % 3) - 1;
        const TrainingRecord record = pack_record(pos, score, result, game.ply, chess960);
        Position back;
        unpack_record(record, back);
        for (int i = 0; i < 8; ++i) ASSERT_EQ(back.bb[i], pos.bb[i]) << fen_of(pos) << " slot " << i;
        for (int shift = 0; shift < 16; shift += 4)
          ASSERT_EQ((back.castling >> shift & 15) != NO_RIGHT, (pos.castling >> shift & 15) != NO_RIGHT)
              << fen_of(pos);
        ASSERT_EQ(in_check(back), in_check(pos)) << fen_of(pos);
        EXPECT_EQ(record.score, score);
        EXPECT_EQ(record.result, result);
        EXPECT_EQ(record.ply, game.ply);
        EXPECT_EQ(record.flags, chess960 ? RECORD_CHESS960 : 0);
        const int32_t e = evaluate_at(*scratch, pos);
        ASSERT_EQ(evaluate_at(*scratch, back), e) << fen_of(pos);
        evaluations.insert(e);

        ScoredMove list[MAX_MOVES];
        const int count = int(generate_legal(pos, list) - list);
        if (count == 0) break;
        play_board_move(game, list[rng.next() % uint64_t(count)].move);
      }
    }
  }
  EXPECT_GT(evaluations.size(), 100u);  // the network told the positions apart
  EXPECT_EQ(pack_record(position_of(START_FEN), 40000, 0, 0, false).score, 32767);
  EXPECT_EQ(pack_record(position_of(START_FEN), -40000, 0, 0, false).score, -32767);
}

// Records as bytes, sorted: two runs of records hold the same positions when these are equal.
std::vector<std::string> sorted_bytes(const std::vector<TrainingRecord>& records) {
  std::vector<std::string> bytes;
  for (const TrainingRecord& r : records) bytes.emplace_back(reinterpret_cast<const char*>(&r), sizeof r);
  std::sort(bytes.begin(), bytes.end());
  return bytes;
}

std::vector<TrainingRecord> read_whole_file(const fs::path& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  std::vector<TrainingRecord> records;
  if (!file || !read_training_header(file, path.c_str())) return records;
  for (TrainingRecord r; std::fread(&r, sizeof r, 1, file) == 1;) records.push_back(r);
  std::fclose(file);
  return records;
}

// The records of one epoch, chunk by chunk, each chunk in the order it gives.
std::vector<TrainingRecord> epoch_records(const TrainingSet& set, int epoch) {
  const std::vector<int64_t> blocks = epoch_blocks(set, epoch);
  std::vector<TrainingRecord> seen;
  for (int c = 0; c < epoch_chunks(set, blocks); ++c) {
    Chunk chunk;
    EXPECT_TRUE(load_chunk(set, blocks, epoch, c, chunk));
    EXPECT_LE(int64_t(chunk.records.size()), set.chunk_records);
    EXPECT_EQ(chunk.order.size(), chunk.records.size());
    for (uint32_t index : chunk.order) seen.push_back(chunk.records[index]);
  }
  return seen;
}

TEST(TrainingSet, ChunksOfAnEpochHoldEveryTrainingRecordOnce) {
  TempDir dir;
  // Three files: one with records that no game gives, an empty one, and one with a torn tail.
  std::vector<TrainingRecord> first = random_play_records(700, 3), third = random_play_records(555, 4);
  for (int i : {10, 250, 699}) first[size_t(i)].occupied = 0;
  const fs::path paths[3] = {dir.path / "a.bin", dir.path / "empty.bin", dir.path / "c.bin"};
  ASSERT_TRUE(write_training_file(paths[0].string(), first));
  ASSERT_TRUE(write_training_file(paths[1].string(), {}));
  ASSERT_TRUE(write_training_file(paths[2].string(), third));
  std::ofstream(paths[2], std::ios::binary | std::ios::app) << std::string(20, '\x05');

  // What the whole files give, each record with its number in the set.
  std::vector<TrainingRecord> all;
  for (const fs::path& p : paths) {
    const std::vector<TrainingRecord> records = read_whole_file(p);
    all.insert(all.end(), records.begin(), records.end());
  }
  ASSERT_EQ(all.size(), 1255u);
  constexpr uint64_t SEED = 9;
  constexpr double SHARE = 0.1;
  std::vector<TrainingRecord> validation, training;
  for (size_t i = 0; i < all.size(); ++i) {
    if (!record_is_valid(all[i])) continue;
    (held_out(SEED, SHARE, int64_t(i)) ? validation : training).push_back(all[i]);
  }
  ASSERT_GT(validation.size(), 60u);

  const std::vector<std::string> paths_text = {paths[0].string(), paths[1].string(), paths[2].string()};
  for (const int64_t chunk_records : {1, 37, 300, 1255, 100000}) {
    TrainingSet set;
    ASSERT_TRUE(open_training_set(paths_text, SHARE, SEED, chunk_records, set));
    EXPECT_EQ(set.dropped, 3);
    EXPECT_EQ(set.training_positions, int64_t(training.size()));
    EXPECT_TRUE(same_records(set.validation, validation)) << chunk_records;
    const std::vector<TrainingRecord> epoch_orders[2] = {epoch_records(set, 1), epoch_records(set, 2)};
    for (int epoch : {1, 2})
      EXPECT_EQ(sorted_bytes(epoch_orders[epoch - 1]), sorted_bytes(training))
          << "chunks of " << chunk_records << ", epoch " << epoch;
    // Each epoch has an order of its own.
    ASSERT_EQ(epoch_orders[0].size(), epoch_orders[1].size());
    EXPECT_NE(std::memcmp(epoch_orders[0].data(), epoch_orders[1].data(), epoch_orders[0].size() * sizeof(TrainingRecord)), 0);
  }
}

// The FEN with every rank read right to left.
std::string files_reversed(const std::string& fen) {
  const size_t space = fen.find(' ');
  std::string board, rank;
  auto flush = [&] {
    board += std::string(rank.rbegin(), rank.rend());
    rank.clear();
  };
  for (char c : fen.substr(0, space)) {
    if (c == '/') {
      flush();
      board += '/';
    } else if (c >= '1' && c <= '8') {
      rank += std::string(size_t(c - '0'), '1');
    } else {
      rank += c;
    }
  }
  flush();
  return board + fen.substr(space);  // runs of 1s are a valid FEN too
}

TEST(TrainingRecords, MirroringTurnsTheBoardOverLeftToRight) {
  for (const char* fen : {"8/2k5/3p4/p2P1p2/P2P1P2/8/5K2/8 b - - 0 1", "r5k1/5ppp/8/8/1Q6/8/6PP/2R3K1 w - - 0 1",
                          "4k3/8/8/3Pp3/8/8/8/4K2R w K e6 0 1"}) {
    const TrainingRecord record = pack_record(position_of(fen), 37, 1, 60, false);
    TrainingRecord mirrored = record;
    if (record.rights) {
      EXPECT_FALSE(mirror_record(mirrored)) << fen;
      EXPECT_EQ(std::memcmp(&mirrored, &record, sizeof record), 0) << fen;
      continue;
    }
    ASSERT_TRUE(mirror_record(mirrored)) << fen;
    const TrainingRecord expected = pack_record(position_of(files_reversed(fen).c_str()), 37, 1, 60, false);
    EXPECT_EQ(std::memcmp(&mirrored, &expected, sizeof expected), 0) << fen;
    ASSERT_TRUE(mirror_record(mirrored));
    EXPECT_EQ(std::memcmp(&mirrored, &record, sizeof record), 0) << fen;
  }
}

TEST(TrainingSet, MirroringTurnsAboutHalfOfTheRecordsWithoutRightsAfreshEachEpoch) {
  TempDir dir;
  const std::vector<TrainingRecord> records = random_play_records(2000, 8);
  const fs::path path = dir.path / "m.bin";
  ASSERT_TRUE(write_training_file(path.string(), records));
  TrainingSet set;
  ASSERT_TRUE(open_training_set({path.string()}, 0.1, 5, 700, set));
  set.mirror = true;
  std::vector<TrainingRecord> plain, validation;
  for (size_t i = 0; i < records.size(); ++i)
    if (record_is_valid(records[i])) (held_out(5, 0.1, int64_t(i)) ? validation : plain).push_back(records[i]);
  std::vector<TrainingRecord> mirrored_kinds[2];
  for (int epoch : {1, 2}) {
    const std::vector<TrainingRecord> seen = epoch_records(set, epoch);
    // Each record once, as it is or mirrored; those with rights always as they are.
    std::vector<TrainingRecord> either = plain, turned;
    int without_rights = 0;
    for (TrainingRecord& r : either) {
      TrainingRecord m = r;
      if (!mirror_record(m)) continue;
      ++without_rights;
      if (std::find_if(seen.begin(), seen.end(), [&](const TrainingRecord& s) {
            return std::memcmp(&s, &m, sizeof m) == 0 && std::memcmp(&m, &r, sizeof m) != 0;
          }) != seen.end()) {
        turned.push_back(r);
        r = m;
      }
    }
    EXPECT_EQ(sorted_bytes(seen), sorted_bytes(either)) << "epoch " << epoch;
    ASSERT_GT(without_rights, 500);
    ASSERT_LT(without_rights, int(plain.size()));
    EXPECT_GT(turned.size(), size_t(without_rights) * 4 / 10);
    EXPECT_LT(turned.size(), size_t(without_rights) * 6 / 10);
    mirrored_kinds[epoch - 1] = turned;
  }
  EXPECT_NE(sorted_bytes(mirrored_kinds[0]), sorted_bytes(mirrored_kinds[1]));
  EXPECT_TRUE(same_records(set.validation, validation));
}

}  // namespace
