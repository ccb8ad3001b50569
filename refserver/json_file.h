/// The small files of a data folder, read whole and checked for their outer shape.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

#include "world_error.h"

namespace qvant::refserver {

std::string ReadText(const std::filesystem::path& file);

/// Puts a text in the place of a file, whole: who reads at that moment has the old one or the new one.
/// @throw CWorldError  it can't be written; the old file stands
void ReplaceText(const std::filesystem::path& file, std::string_view text);

/// Reads a file that holds one JSON object.
/// @throw CWorldError  it can't be read, isn't JSON in UTF-8, isn't an object or is nested without end
rapidjson::Document ReadObject(const std::filesystem::path& file);

/// JSON over several lines, for files that people read.
std::string ToPrettyJson(const rapidjson::Value& value);

/// Compact JSON.
std::string ToJson(const rapidjson::Value& value);
std::string ToJson(std::string_view text);

/// The string member of this name, empty when there is none.
/// @throw CWorldError  the member isn't a string
std::string ReadString(const rapidjson::Value& object, const char* pName, const std::filesystem::path& file);

inline std::string_view ToView(const rapidjson::Value& text) { return {text.GetString(), text.GetStringLength()}; }

}  // namespace qvant::refserver
