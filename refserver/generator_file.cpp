#include "generator_file.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace qvant::refserver {

CGeneratedFile::CGeneratedFile(const std::filesystem::path& file)
    : m_strName(file.string()), m_pFile(std::fopen(file.c_str(), "wb"), &std::fclose) {
    if (!m_pFile) Fail();
    m_pStream = std::make_unique<rapidjson::FileWriteStream>(m_pFile.get(), m_block.data(), m_block.size());
    m_writer.Reset(*m_pStream);
    m_writer.SetIndent(' ', 1);
    m_writer.StartObject();
}

void CGeneratedFile::Begin(std::string_view key) {
    Key(key);
    m_writer.StartObject();
}

void CGeneratedFile::BeginArray(std::string_view key) {
    Key(key);
    m_writer.StartArray();
}

void CGeneratedFile::Add(std::string_view name, std::string_view value) {
    Key(name);
    m_writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

void CGeneratedFile::AddNumber(std::string_view name, std::uint64_t nValue) {
    Key(name);
    m_writer.Uint64(nValue);
}

void CGeneratedFile::AddList(std::string_view name, std::string_view item) {
    BeginArray(name);
    m_writer.String(item.data(), static_cast<rapidjson::SizeType>(item.size()));
    EndArray();
}

void CGeneratedFile::Finish() {
    m_writer.EndObject();
    m_pStream->Put('\n');
    m_pStream->Flush();
    if (std::ferror(m_pFile.get()) || std::fflush(m_pFile.get()) != 0) Fail();
}

void CGeneratedFile::Fail() const { throw std::runtime_error(m_strName + ": " + std::strerror(errno)); }

}  // namespace qvant::refserver
