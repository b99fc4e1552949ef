#include "check/ipv4.h"

#include <arpa/inet.h>

#include <bit>
#include <charconv>

namespace {

std::optional<uint32_t> mask_of(std::string_view string) {
  uint32_t bits = 0;
  const auto [end, error] = std::from_chars(string.begin(), string.end(), bits);
  if (error == std::errc() && end == string.end() && bits <= 32) return bits == 0 ? 0 : UINT32_MAX << (32 - bits);
  const std::optional<uint32_t> mask = ipv4_address(string);
  return mask.has_value() && (~*mask & (~*mask + 1)) == 0 ? mask : std::nullopt;
}

}  // namespace

std::optional<uint32_t> ipv4_address(std::string_view string) {
  in_addr address;
  if (inet_pton(AF_INET, std::string(string).c_str(), &address) != 1) return std::nullopt;
  return ntohl(address.s_addr);
}

std::optional<Ipv4Network> ipv4_network(std::string_view string) {
  const size_t slash = string.find('/');
  const std::optional<uint32_t> address = ipv4_address(string.substr(0, slash));
  if (!address.has_value()) return std::nullopt;
  if (slash == std::string_view::npos) return Ipv4Network{*address, UINT32_MAX};
  const std::optional<uint32_t> mask = mask_of(string.substr(slash + 1));
  if (!mask.has_value()) return std::nullopt;
  return Ipv4Network{*address, *mask};
}

std::string ipv4_string(uint32_t address) {
  char string[INET_ADDRSTRLEN];
  const in_addr number = {htonl(address)};
  return inet_ntop(AF_INET, &number, string, sizeof string);
}

std::string ipv4_string(const Ipv4Network &network) {
  return ipv4_string(network.first()) + "/" + std::to_string(std::popcount(network.mask));
}
