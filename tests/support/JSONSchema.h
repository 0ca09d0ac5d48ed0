#pragma once

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

namespace sonmere {

// What of JSON Schema the project's own schemas use. A keyword that it does not know is an error, so that
// none goes by unchecked.
class JSONSchema {
 public:
  explicit JSONSchema(std::filesystem::path file) : file_(std::move(file)), schema_(read(file_)) {}

  // Where and why the value does not fit; empty when it does.
  std::string check(const nlohmann::json& value) const { return check(schema_, value, "$"); }

 private:
  using JSON = nlohmann::json;

  static JSON read(const std::filesystem::path& file) {
    std::ifstream in(file);
    return JSON::parse(in, nullptr, false);
  }

  static bool isOfType(const std::string& type, const JSON& value) {
    if (type == "integer") return value.is_number_integer();
    if (type == "number") return value.is_number();
    if (type == "string") return value.is_string();
    if (type == "boolean") return value.is_boolean();
    if (type == "array") return value.is_array();
    return type == "object" ? value.is_object() : type == "null" && value.is_null();
  }

  std::string check(const JSON& schema, const JSON& value, const std::string& where) const {
    if (!schema.is_object()) return where + ": the schema can't be read";
    static const std::set<std::string> kWords = {"type",    "properties", "required", "additionalProperties",
                                                 "items",   "enum",       "const",    "$ref",
                                                 "$schema", "title",      "$defs",    "description"};
    for (const auto& item : schema.items())
      if (!kWords.contains(item.key())) return where + ": unknown keyword " + item.key();
    if (const auto ref = schema.find("$ref"); ref != schema.end()) return checkReference(*ref, value, where);
    if (auto wrong = checkType(schema, value, where); !wrong.empty()) return wrong;
    if (schema.contains("const") && schema["const"] != value) return where + " is " + value.dump();
    if (schema.contains("enum") &&
        !std::set<JSON>(schema["enum"].begin(), schema["enum"].end()).contains(value))
      return where + " is " + value.dump();
    if (value.is_object()) return checkMembers(schema, value, where);
    if (value.is_array() && schema.contains("items"))
      for (std::size_t i = 0; i < value.size(); ++i)
        if (auto wrong = check(schema["items"], value[i], where + "[" + std::to_string(i) + "]");
            !wrong.empty())
          return wrong;
    return "";
  }

  std::string checkType(const JSON& schema, const JSON& value, const std::string& where) const {
    if (!schema.contains("type")) return "";
    const JSON types = schema["type"].is_array() ? schema["type"] : JSON::array({schema["type"]});
    for (const JSON& type : types)
      if (isOfType(type, value)) return "";
    return where + " is " + value.dump() + ", which is no " + types.dump();
  }

  std::string checkMembers(const JSON& schema, const JSON& value, const std::string& where) const {
    const JSON members = schema.value("properties", JSON::object());
    for (const JSON& name : schema.value("required", JSON::array()))
      if (!value.contains(name)) return where + " lacks " + name.dump();
    for (const auto& item : value.items()) {
      if (const auto found = members.find(item.key()); found != members.end()) {
        if (auto wrong = check(*found, item.value(), where + "." + item.key()); !wrong.empty()) return wrong;
      } else if (!members.empty()) {
        return where + "." + item.key() + " is in no schema";
      }
    }
    return "";
  }

  // "app.schema.json" beside this file, or "#/$defs/name" within it.
  std::string checkReference(const std::string& ref, const JSON& value, const std::string& where) const {
    if (ref.starts_with("#")) return check(schema_.at(JSON::json_pointer(ref.substr(1))), value, where);
    return JSONSchema(file_.parent_path() / ref).check(JSON(value), where);
  }
  std::string check(const JSON& value, const std::string& where) const {
    return check(schema_, value, where);
  }

  const std::filesystem::path file_;
  const JSON schema_;
};

}  // namespace sonmere
