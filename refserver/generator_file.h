/// A JSON file of a generated world, written as a stream: no more memory than a block, however large it gets.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>

namespace qvant::refserver {

/// One object, from the constructor to `Finish`. Made on the heap, for its block.
class CGeneratedFile {
public:
    /// @throw std::runtime_error  the file can't be made; the text names it
    explicit CGeneratedFile(const std::filesystem::path& file);

    void Begin(std::string_view key);
    void BeginArray(std::string_view key);
    void BeginItem() { m_writer.StartObject(); }
    void Add(std::string_view name, std::string_view value);
    void AddNumber(std::string_view name, std::uint64_t nValue);
    /// An array of one string.
    void AddList(std::string_view name, std::string_view item);
    void End() { m_writer.EndObject(); }
    void EndArray() { m_writer.EndArray(); }

    /// @throw std::runtime_error  not everything could be written
    void Finish();

private:
    void Key(std::string_view name) { m_writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }
    [[noreturn]] void Fail() const;

    std::string m_strName;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_pFile;
    std::array<char, 262'144> m_block{};
    std::unique_ptr<rapidjson::FileWriteStream> m_pStream;
    rapidjson::PrettyWriter<rapidjson::FileWriteStream> m_writer;
};

}  // namespace qvant::refserver
