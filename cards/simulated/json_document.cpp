#include "simulated/json_document.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace kestrune::simulated {
namespace {

constexpr std::size_t deepestNesting = 16;

/// The text as the parser reads it. Unlike the library's own stream, which it copies now and then, it always
/// knows how far the parser has come.
class TextStream {
 public:
  using Ch = char;

  explicit TextStream(const std::string& text) : text_(text) {}

  /// NUL at the text's end, and behind it: a character that is torn off there makes the parser ask for more.
  Ch Peek() const { return place_ < text_.size() ? text_[place_] : '\0'; }
  Ch Take() { return place_ < text_.size() ? text_[place_++] : '\0'; }
  std::size_t Tell() const { return place_; }

  /// Where the token begins that follows this place.
  std::size_t TokenFrom(std::size_t place) const {
    return std::min(text_.find_first_not_of(" \t\r\n,:", place), text_.size());
  }

  // Only for parsing in place, which is not done.
  Ch* PutBegin() { return nullptr; }
  void Put(Ch) {}
  std::size_t PutEnd(Ch*) { return 0; }

 private:
  const std::string& text_;
  std::size_t place_ = 0;
};

/// Builds the values from the parser's events.
class Builder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Builder> {
 public:
  explicit Builder(const TextStream& stream) : stream_(stream) {}

  bool TooDeep() const { return open_.size() > deepestNesting; }
  JsonValue TakeRoot() { return std::move(root_); }

  bool Null() { return Add(std::monostate()); }
  bool Bool(bool value) { return Add(value); }
  bool Int(int value) { return Add(std::int64_t{value}); }
  bool Uint(unsigned value) { return Add(std::int64_t{value}); }
  bool Int64(std::int64_t value) { return Add(value); }
  bool Uint64(std::uint64_t value) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    return value <= most ? Add(static_cast<std::int64_t>(value)) : Add(static_cast<double>(value));
  }
  bool Double(double value) { return Add(value); }
  bool String(const char* text, rapidjson::SizeType length, bool) { return Add(std::string(text, length)); }
  bool StartObject() { return Open(JsonValue::Object()); }
  bool StartArray() { return Open(JsonValue::Array()); }
  bool EndObject(rapidjson::SizeType) { return Close(); }
  bool EndArray(rapidjson::SizeType) { return Close(); }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    std::get<JsonValue::Object>(open_.back()->content)
        .push_back({TakeOffset(), std::string(text, length), {}});
    return true;
  }

 private:
  /// The offset of the token that the parser has just read.
  std::size_t TakeOffset() { return stream_.TokenFrom(std::exchange(tokenEnd_, stream_.Tell())); }

  /// A value behind `open_.back()` moves when its container grows, but then it is no longer open.
  JsonValue& Place() {
    if (open_.empty()) return root_;
    auto& content = open_.back()->content;
    if (auto* array = std::get_if<JsonValue::Array>(&content)) return array->emplace_back();
    return std::get<JsonValue::Object>(content).back().value;
  }

  template <class Content>
  bool Add(Content content) {
    JsonValue& place = Place();
    place.offset = TakeOffset();
    place.content = std::move(content);
    return true;
  }

  template <class Content>
  bool Open(Content content) {
    JsonValue& place = Place();
    place.offset = TakeOffset();
    place.content = std::move(content);
    open_.push_back(&place);
    return !TooDeep();
  }

  bool Close() {
    tokenEnd_ = stream_.Tell();
    open_.pop_back();
    return true;
  }

  const TextStream& stream_;
  std::size_t tokenEnd_ = 0;
  JsonValue root_;
  std::vector<JsonValue*> open_;
};

}  // namespace

const JsonValue* JsonValue::Find(std::string_view name) const {
  const auto* object = std::get_if<Object>(&content);
  if (object == nullptr) return nullptr;
  const auto member = std::ranges::find(*object, name, &JsonMember::name);
  return member != object->end() ? &member->value : nullptr;
}

std::variant<JsonValue, JsonError> ParseJson(const std::string& text) {
  constexpr unsigned flags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseFullPrecisionFlag;
  TextStream stream(text);
  rapidjson::Reader reader;
  Builder builder(stream);
  reader.Parse<flags>(stream, builder);
  if (builder.TooDeep()) return JsonError{stream.Tell() - 1, "nested too deep"};
  if (reader.HasParseError()) {
    return JsonError{reader.GetErrorOffset(), rapidjson::GetParseError_En(reader.GetParseErrorCode())};
  }
  if (stream.Tell() < text.size()) return JsonError{stream.Tell(), "a NUL character"};
  return builder.TakeRoot();
}

}  // namespace kestrune::simulated
