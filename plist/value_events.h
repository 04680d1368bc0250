// Values from and to events.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "plist/events.h"

namespace orvik::plist {

struct ValueMaker {
  using Node = Value;

  static Value String(const Text& text, const Value* holder) {
    return holder != nullptr ? *holder : Value::String(text);
  }
  static Value Key(const Text& text, const Value* holder) { return String(text, holder); }
  static Value Integer(plist::Integer value) { return value; }
  static Value Real(double value, int width) { return {value, width}; }
  static Value Boolean(bool value) { return value; }
  static Value Date(double seconds) { return Value::Date(seconds); }
  static Value Data(std::string_view bytes, const Bytes& holder) {
    return holder != nullptr ? Value::Data(holder) : Value::Data(std::string(bytes));
  }
  static Value Array(std::size_t count) {
    Value array = Value::Array();
    array.ChangeElements().reserve(count);
    return array;
  }
  static Value Dictionary(std::size_t count) { return Value::Dictionary(count); }
  static Value Deferred(const XmlDictionary& dictionary) { return Value::Dictionary(dictionary); }
  static void Append(Value& array, Value element) { array.Append(std::move(element)); }
  static void Put(Value& dictionary, Value key, Value value) {
    dictionary.SetSharing(std::move(key), std::move(value));
  }
};

using ValueBuilder = Builder<ValueMaker>;

struct ValueAccess {
  using Node = const Value*;
  enum Kind { kLeaf, kArray, kDictionary, kForeign };

  static Kind KindOf(const Value* value) {
    switch (value->type()) {
      case Type::kNone:
        return kForeign;
      case Type::kArray:
        return kArray;
      case Type::kDictionary:
        return kDictionary;
      default:
        return kLeaf;
    }
  }
  static bool SendLeaf(const Value* value, Sink& sink) {
    switch (value->type()) {
      case Type::kString:
        return sink.String(value->text(), value);
      case Type::kInteger:
        return sink.Integer(value->integer());
      case Type::kReal:
        return sink.Real(value->real(), value->width());
      case Type::kBoolean:
        return sink.Boolean(value->boolean());
      case Type::kDate:
        return sink.Date(value->date());
      case Type::kData:
        return sink.Data(*value->data(), value->data());
      default:
        return false;
    }
  }
  static bool SendKey(const Value* key, Sink& sink) { return sink.Key(key->text(), key); }
  static std::shared_ptr<const XmlDictionary> Deferred(const Value* dictionary) {
    return dictionary->deferred();
  }
  template <class Call>
  static bool ForEachEntry(const Value* dictionary, Call call) {
    for (const Value::Entry& entry : dictionary->entries()) call(&entry.key, &entry.value);
    return true;
  }
  template <class Call>
  static void ForEachElement(const Value* array, Call call) {
    for (const Value& element : array->elements()) call(&element);
  }
  static int CompareKeys(const Value* one, const Value* other) {
    return one->text().Compare(other->text());
  }
  static std::string KeyInUtf8(const Value* key) { return key->text().ToUtf8(); }
};

using ValueWalk = Walk<ValueAccess>;

}  // namespace orvik::plist
