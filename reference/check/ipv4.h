// IPv4 addresses and networks as numbers.
#ifndef TESSERA_REFERENCE_CHECK_IPV4_H
#define TESSERA_REFERENCE_CHECK_IPV4_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct Ipv4Network {
  uint32_t address;  // as written, with the host bits
  uint32_t mask;

  uint32_t first() const { return address & mask; }
  uint32_t last() const { return address | ~mask; }
  bool holds(uint32_t other) const { return ((address ^ other) & mask) == 0; }
};

// Parses an address; empty for any other string.
std::optional<uint32_t> ipv4_address(std::string_view string);

// Parses ADDRESS/LENGTH, ADDRESS/MASK or ADDRESS, which gives a network of this one address. Empty for any other
// string.
std::optional<Ipv4Network> ipv4_network(std::string_view string);

// The network without its host bits, such as "192.168.1.0/24", and an address, such as "192.168.1.1".
std::string ipv4_string(const Ipv4Network &network);
std::string ipv4_string(uint32_t address);

#endif
