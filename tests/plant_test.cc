// Numbers in registers, requests, and payloads of messages.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "plant/modbus/packing.h"
#include "plant/modbus/requests.h"
#include "plant/mqtt/payload.h"
#include "tests/support.h"

namespace {

using plant::EOrder;
using plant::ETable;
using plant::EType;
using plant::TRegisters;

TEST(Plant, NumbersInRegisters) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  struct TRow {
    double number;
    EType type;
    EOrder order;
    plant::TWords words;
    double read;  // what comes back
    bool isLimited;
  };
  const TRow rows[] = {
      {-2.4, EType::kInt16, EOrder::kAbcd, {0xFFFE}, -2, false},
      {-2.6, EType::kInt16, EOrder::kBadc, {0xFDFF}, -3, false},
      {32768, EType::kInt16, EOrder::kAbcd, {0x7FFF}, 32767, true},
      {-32769, EType::kInt16, EOrder::kAbcd, {0x8000}, -32768, true},
      {65535.4, EType::kUint16, EOrder::kDcba, {0xFFFF}, 65535, false},
      {-1, EType::kUint16, EOrder::kAbcd, {0}, 0, true},
      {0x12345678, EType::kInt32, EOrder::kAbcd, {0x1234, 0x5678}, 0x12345678, false},
      {0x12345678, EType::kInt32, EOrder::kCdab, {0x5678, 0x1234}, 0x12345678, false},
      {0x12345678, EType::kUint32, EOrder::kBadc, {0x3412, 0x7856}, 0x12345678, false},
      {0x12345678, EType::kUint32, EOrder::kDcba, {0x7856, 0x3412}, 0x12345678, false},
      {4294967296.0, EType::kUint32, EOrder::kAbcd, {0xFFFF, 0xFFFF}, 4294967295.0, true},
      {-2147483649.0, EType::kInt32, EOrder::kAbcd, {0x8000, 0}, -2147483648.0, true},
      {0x123456789ABC, EType::kInt64, EOrder::kCdab, {0x9ABC, 0x5678, 0x1234, 0}, 0x123456789ABC, false},
      {9.3e18, EType::kInt64, EOrder::kAbcd, {0x7FFF, 0xFFFF, 0xFFFF, 0xFFFF}, 0x1p63, true},
      {1.5, EType::kFloat, EOrder::kAbcd, {0x3FC0, 0}, 1.5, false},
      {1.5, EType::kFloat, EOrder::kDcba, {0, 0xC03F}, 1.5, false},
      {1e39, EType::kFloat, EOrder::kAbcd, {0x7F7F, 0xFFFF}, 0x1.fffffep127, true},
      {-1.5, EType::kDouble, EOrder::kCdab, {0, 0, 0, 0xBFF8}, -1.5, false},
      {-kInfinity,
       EType::kDouble,
       EOrder::kBadc,
       {0xEFFF, 0xFFFF, 0xFFFF, 0xFFFF},
       std::numeric_limits<double>::lowest(),
       true},
      {3, EType::kBit, EOrder::kAbcd, {1}, 1, false},
  };
  for (const TRow& row : rows) {
    bool wasLimited = false;
    EXPECT_EQ(plant::Packed(row.number, row.type, row.order, &wasLimited), row.words) << row.number;
    EXPECT_EQ(wasLimited, row.isLimited) << row.number;
    EXPECT_EQ(plant::Unpacked(row.words.data(), row.type, row.order), row.read) << row.number;
  }
}

TRegisters Holding(int address, EType type = EType::kUint16) {
  return {ETable::kHolding, static_cast<std::uint16_t>(address), type, EOrder::kAbcd};
}

// Each as TABLE:ADDRESS+COUNT(POINTS).
std::string Shown(const std::vector<plant::TRequest>& requests) {
  std::string shown;
  for (const plant::TRequest& request : requests) {
    shown += std::to_string(static_cast<int>(request.table)) + ":" + std::to_string(request.address) + "+" +
             std::to_string(request.count) + "(";
    if (request.points.size() < 5) {
      for (const std::size_t point : request.points) shown += std::to_string(point);
    }
    shown += ") ";
  }
  return shown;
}

TEST(Plant, NeighboursShareARequest) {
  const std::vector<TRegisters> some = {
      Holding(7), Holding(0, EType::kDouble), Holding(4), {ETable::kCoil, 4, EType::kBit, EOrder::kAbcd}, Holding(1)};
  EXPECT_EQ(Shown(plant::ReadRequests(some, 0)), "0:4+1(3) 3:0+5(142) 3:7+1(0) ");
  EXPECT_EQ(Shown(plant::ReadRequests(some, 1)), "0:4+1(3) 3:0+5(142) 3:7+1(0) ");
  EXPECT_EQ(Shown(plant::ReadRequests(some, 2)), "0:4+1(3) 3:0+8(1420) ");
  std::vector<TRegisters> many(63);
  std::vector<TRegisters> bits(2001);
  for (std::size_t i = 0; i < many.size(); ++i) many[i] = Holding(static_cast<int>(2 * i), EType::kFloat);
  for (std::size_t i = 0; i < bits.size(); ++i) {
    bits[i] = {ETable::kCoil, static_cast<std::uint16_t>(i), EType::kBit, EOrder::kAbcd};
  }
  // A number isn't read in parts.
  EXPECT_EQ(Shown(plant::ReadRequests(many, 9)), "3:0+124() 3:124+2(62) ");
  EXPECT_EQ(Shown(plant::WriteRequests(many)), "3:0+122() 3:122+4(6162) ");
  EXPECT_EQ(Shown(plant::ReadRequests(bits, 0)), "0:0+2000() 0:2000+1(2000) ");
  EXPECT_EQ(Shown(plant::WriteRequests(bits)), "0:0+1968() 0:1968+33() ");
}

TEST(Plant, PayloadsOfMessages) {
  const double nan = std::nan("");
  const struct {
    const char* bytes;
    std::optional<double> value;
    plant::EQuality quality;
  } rows[] = {
      {"21.5", 21.5, plant::EQuality::kGood},
      {" -.5e1\r\n", -5, plant::EQuality::kGood},
      {"+7", 7, plant::EQuality::kGood},
      {"inf", std::numeric_limits<double>::infinity(), plant::EQuality::kGood},
      {"NaN", nan, plant::EQuality::kGood},
      {"true", 1, plant::EQuality::kGood},
      {"{\"value\": 3, \"time\": \"soon\", \"quality\": \"good\"}", 3, plant::EQuality::kGood},
      {"{\"value\": false, \"quality\": \"stale\"}", 0, plant::EQuality::kLost},
      {"{\"value\": \"2.5\"}", 2.5, plant::EQuality::kGood},
      {"", {}, {}},
      {"21,5", {}, {}},
      {"21.5 C", {}, {}},
      {"--1", {}, {}},
      {"on", {}, {}},
      {"[1]", {}, {}},
      {"{\"value\": null}", {}, {}},
      {"{\"value\": 1", {}, {}},
      {"{\"valu\": 1}", {}, {}},
      {"{\"value\": {\"value\": 1}}", {}, {}},
      {"1e999", {}, {}},
  };
  for (const auto& row : rows) {
    const std::optional<plant::TPayload> read = plant::ReadPayload(row.bytes);
    ASSERT_EQ(read.has_value(), row.value.has_value()) << row.bytes;
    if (!read) continue;
    EXPECT_TRUE(read->value == *row.value || (std::isnan(read->value) && std::isnan(*row.value))) << row.bytes;
    EXPECT_EQ(read->quality, row.quality) << row.bytes;
  }
  EXPECT_EQ(plant::PayloadOf(0.1, plant::EQuality::kStale, false, false, 0.0), "0.1");
  EXPECT_EQ(plant::PayloadOf(1.0, plant::EQuality::kStale, true, true, 2.5),
            R"({"value":true,"time":2.5,"quality":"stale"})");
}

}  // namespace
