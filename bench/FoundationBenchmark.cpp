#include <benchmark/benchmark.h>

#include <memory>
#include <span>
#include <vector>

#include "core/beacon/BeaconDataParser.hpp"
#include "core/beacon/BeaconDeduplicator.hpp"
#include "platform/sim/VirtualClock.hpp"

namespace lumora {
namespace {

std::vector<std::uint8_t> customBeaconPayload() {
  std::vector<std::uint8_t> bytes{0x34, 0x12, 0x03, 0x00, 0x01, 0x2C, 0x0A,
                                  0x1B, 0x2C, 0x3D, 0x4E, 0x5F, 0x60, 0x71};
  bytes.resize(25, 0x00);
  return bytes;
}

void BM_ParseCustomBeacon(benchmark::State& state) {
  const auto payload = customBeaconPayload();
  for (auto _ : state) {
    benchmark::DoNotOptimize(BeaconDataParser::parseManufacturerData(payload));
  }
}
BENCHMARK(BM_ParseCustomBeacon);

// The same beacon recognised into its packed identity, as detection does.
void BM_ParseCustomBeaconIdentity(benchmark::State& state) {
  const auto payload = customBeaconPayload();
  for (auto _ : state) {
    benchmark::DoNotOptimize(BeaconDataParser::parseIdentity(payload));
  }
}
BENCHMARK(BM_ParseCustomBeaconIdentity);

void BM_ParseForeignData(benchmark::State& state) {
  // An iBeacon advertisement under Apple's company identifier.
  std::vector<std::uint8_t> payload(25, 0x00);
  payload[0] = 0x4C;
  payload[2] = 0x02;
  payload[3] = 0x15;
  for (auto _ : state) {
    benchmark::DoNotOptimize(BeaconDataParser::parseManufacturerData(payload));
  }
}
BENCHMARK(BM_ParseForeignData);

void BM_DeduplicatorContainsHit(benchmark::State& state) {
  BeaconDeduplicator deduplicator(30.0, std::make_shared<platform::VirtualClock>());
  for (std::int64_t binding = 0; binding < 100; ++binding) {
    deduplicator.add(4660, "0a1b2c3d4e5f6071", binding);
  }
  const std::string spaceId = "0a1b2c3d4e5f6071";
  for (auto _ : state) {
    benchmark::DoNotOptimize(deduplicator.contains(4660, spaceId, 42));
  }
}
BENCHMARK(BM_DeduplicatorContainsHit);

// The floor of the per-advertisement path: recognise a custom beacon in the
// raw bytes, pack its identity straight into the deduplicator's key and look
// it up once under the shared lock. No text, no callbacks.
void BM_ParseAndLookupReference(benchmark::State& state) {
  BeaconDeduplicator deduplicator(30.0, std::make_shared<platform::VirtualClock>());
  deduplicator.add(4660, "0a1b2c3d4e5f6071", 300);
  const auto payload = customBeaconPayload();
  for (auto _ : state) {
    benchmark::DoNotOptimize(payload.data());
    const std::span<const std::uint8_t> bytes(payload);
    bool duplicate = false;
    if (bytes.size() >= 25 && bytes[0] == 0x34 && bytes[1] == 0x12 && bytes[2] == 0x03) {
      std::uint64_t space = 0;
      for (std::size_t i = 6; i < 14; ++i) space = space << 8 | bytes[i];
      const std::int64_t binding = bytes[3] << 16 | bytes[4] << 8 | bytes[5];
      duplicate = deduplicator.contains(BeaconDeduplicator::Key{0x1234, space, binding});
    }
    benchmark::DoNotOptimize(duplicate);
  }
}
BENCHMARK(BM_ParseAndLookupReference);

}  // namespace
}  // namespace lumora
