#include "files/checksum.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include "files/checksum_variants.h"
#include "host/descriptor.h"

namespace orvik {

namespace crc32 {
namespace {

Tables BuildTables() {
  Tables tables;
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t entry = byte << 24;
    for (int bit = 0; bit < 8; ++bit) {
      entry = (entry << 1) ^ ((entry & 0x80000000u) != 0 ? kPolynomial : 0);
    }
    tables[0][byte] = entry;
  }
  for (std::size_t zeros = 1; zeros < tables.size(); ++zeros) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = tables[zeros - 1][byte];
      tables[zeros][byte] = (before << 8) ^ tables[0][before >> 24];
    }
  }
  return tables;
}

// The product of two polynomials modulo the generator.
std::uint32_t Multiply(std::uint32_t a, std::uint32_t b) {
  std::uint32_t product = 0;
  for (int bit = 31; bit >= 0; --bit) {
    product = (product << 1) ^ ((product & 0x80000000u) != 0 ? kPolynomial : 0);
    if (((b >> bit) & 1) != 0) product ^= a;
  }
  return product;
}

}  // namespace

const Tables& GetTables() {
  static const Tables tables = BuildTables();
  return tables;
}

std::uint32_t Portable(std::uint32_t checksum, std::span<const unsigned char> bytes) {
  const Tables& tables = GetTables();
  const unsigned char* next = bytes.data();
  const unsigned char* const end = next + bytes.size();
  for (; end - next >= 16; next += 16) {
    const std::uint32_t first =
        tables[15][(checksum >> 24) ^ next[0]] ^ tables[14][((checksum >> 16) & 0xFF) ^ next[1]] ^
        tables[13][((checksum >> 8) & 0xFF) ^ next[2]] ^ tables[12][(checksum & 0xFF) ^ next[3]];
    const std::uint32_t second =
        tables[11][next[4]] ^ tables[10][next[5]] ^ tables[9][next[6]] ^ tables[8][next[7]];
    const std::uint32_t third =
        tables[7][next[8]] ^ tables[6][next[9]] ^ tables[5][next[10]] ^ tables[4][next[11]];
    const std::uint32_t fourth =
        tables[3][next[12]] ^ tables[2][next[13]] ^ tables[1][next[14]] ^ tables[0][next[15]];
    checksum = (first ^ second) ^ (third ^ fourth);
  }
  for (; next != end; ++next) {
    checksum = (checksum << 8) ^ tables[0][(checksum >> 24) ^ *next];
  }
  return checksum;
}

// Each byte that follows multiplies the checksum by x^8.
std::uint32_t Join(std::uint32_t first, std::uint32_t second, std::uint64_t length) {
  for (std::uint32_t power = 0x100; length != 0; length >>= 1) {
    if ((length & 1) != 0) first = Multiply(first, power);
    power = Multiply(power, power);
  }
  return first ^ second;
}

}  // namespace crc32

namespace {

auto ChooseVariant() {
  if (crc32::HasWideCarrylessMultiplication()) return &crc32::WideCarrylessMultiplication;
  if (crc32::HasCarrylessMultiplication()) return &crc32::CarrylessMultiplication;
  return &crc32::Portable;
}

}  // namespace

std::uint32_t ContinueCRC32(std::uint32_t checksum, const unsigned char* bytes, long length) {
  static const auto variant = ChooseVariant();
  if (bytes == nullptr || length <= 0) return checksum;
  return variant(checksum, {bytes, static_cast<std::size_t>(length)});
}

void gen_crc_table() {
  crc32::GetTables();
}

namespace {

// Reading a smaller file takes about as long as starting a thread.
constexpr std::size_t kWorthTwoThreads = std::size_t{8} << 20;

constexpr std::size_t kToEnd = std::numeric_limits<std::size_t>::max();

// The checksum of `size` bytes (kToEnd: all) of the file from `start` on.
std::optional<std::uint32_t> ChecksumOfPart(int file, std::size_t start, std::size_t size,
                                            host::Monitor* monitor) {
  constexpr std::size_t kPiece = std::size_t{256} << 10;
  constexpr std::size_t kUnknownPiece = std::size_t{16} << 10;
  const std::size_t piece = size == kToEnd ? kUnknownPiece : std::min(size, kPiece);
  const std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[piece]);
  if (!buffer) return std::nullopt;
  std::uint32_t checksum = 0;
  for (std::size_t done = 0; done < size;) {
    const std::size_t wanted = std::min(size - done, piece);
    std::size_t got = 0;
    const auto at = static_cast<off_t>(start + done);
    if (host::ReadAt(file, buffer.get(), wanted, at, &got) != 0) return std::nullopt;
    if (got == 0) return size == kToEnd ? std::optional(checksum) : std::nullopt;
    checksum = ContinueCRC32(checksum, buffer.get(), static_cast<long>(got));
    done += got;
    if (!host::Advances(monitor, 0, got)) return std::nullopt;
  }
  return checksum;
}

}  // namespace

std::optional<std::uint32_t> ChecksumOfFile(int file, std::size_t size, host::Monitor* monitor) {
  if (size < kWorthTwoThreads) return ChecksumOfPart(file, 0, size == 0 ? kToEnd : size, monitor);
  const std::size_t half = size / 2;
  std::optional<std::uint32_t> second;
  const auto read_second = [&] { second = ChecksumOfPart(file, half, size - half, monitor); };
  std::thread worker = host::StartWorker(read_second);
  const std::optional<std::uint32_t> first = ChecksumOfPart(file, 0, half, monitor);
  if (worker.joinable()) {
    worker.join();
  } else {
    read_second();
  }
  if (!first || !second) return std::nullopt;
  return crc32::Join(*first, *second, size - half);
}

}  // namespace orvik
