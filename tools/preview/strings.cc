#include "preview/strings.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>

namespace {

// The number of bytes of the first character; 0 when it is not UTF-8.
size_t character_length(std::string_view string) {
  rapidjson::MemoryStream stream(string.data(), string.size());
  rapidjson::StringBuffer ignored;
  return rapidjson::UTF8<>::Validate(stream, ignored) ? stream.Tell() : 0;
}

struct MemberReader : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, MemberReader> {
  std::string_view json;
  rapidjson::MemoryStream &stream;
  std::vector<Member> members;
  std::string name;
  size_t name_end = 0;

  MemberReader(std::string_view read, rapidjson::MemoryStream &from) : json(read), stream(from) {}
  bool Key(const char *string, rapidjson::SizeType length, bool /*copy*/) {
    name.assign(string, length);
    name_end = stream.Tell();
    return true;
  }
  bool String(const char *string, rapidjson::SizeType length, bool /*copy*/) {
    members.push_back({name, {string, length}, json.find('"', name_end) + 1, stream.Tell() - 1});
    return true;
  }
};

}  // namespace

std::string with_replaced(std::string_view string, std::string_view from, std::string_view to) {
  std::string result;
  for (size_t found; (found = string.find(from)) != std::string_view::npos; string.remove_prefix(found + from.size())) {
    result.append(string.substr(0, found)).append(to);
  }
  return result.append(string);
}

std::string repaired_utf8(std::string_view string) {
  std::string result;
  while (!string.empty()) {
    size_t length = static_cast<unsigned char>(string[0]) < 0x80 ? 1 : character_length(string);
    result.append(length > 0 ? string.substr(0, length) : "?");
    string.remove_prefix(std::max(length, size_t{1}));
  }
  return result;
}

std::string json_string(std::string_view string) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.String(string.data(), static_cast<rapidjson::SizeType>(string.size()));
  return {buffer.GetString(), buffer.GetSize()};
}

std::vector<Member> read_members(std::string_view json) {
  rapidjson::MemoryStream stream(json.data(), json.size());
  MemberReader handler(json, stream);
  rapidjson::Reader().Parse<rapidjson::kParseIterativeFlag>(stream, handler);
  return handler.members;
}
