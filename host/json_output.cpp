#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "output.h"

namespace qvant::host {

namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void Put(JsonWriter& writer, std::string_view strText) {
    writer.String(strText.data(), static_cast<rapidjson::SizeType>(strText.size()));
}

void Put(JsonWriter& writer, TextView strText) {
    const std::string strNarrow = Narrow(strText);
    Put(writer, std::string_view(strNarrow));
}

void Put(JsonWriter& writer, const Value& value) {
    if (const auto* pText = std::get_if<Text>(&value)) {
        Put(writer, TextView(*pText));
    } else if (const auto* pNumber = std::get_if<std::int64_t>(&value)) {
        writer.Int64(*pNumber);
    } else if (const auto* pFraction = std::get_if<double>(&value)) {
        writer.Double(*pFraction);
    } else if (const auto* pList = std::get_if<std::vector<Text>>(&value)) {
        writer.StartArray();
        for (const Text& strItem : *pList) Put(writer, TextView(strItem));
        writer.EndArray();
    } else {
        writer.Null();
    }
}

void Put(JsonWriter& writer, const TableContent& content) {
    writer.StartObject();
    writer.Key("values");
    writer.StartObject();
    for (const auto& [strKey, value] : content.arValues) {
        Put(writer, TextView(strKey));
        Put(writer, value);
    }
    writer.EndObject();
    writer.Key("rows");
    writer.StartArray();
    for (const Value& value : content.arRows) Put(writer, value);
    writer.EndArray();
    writer.Key("tables");
    writer.StartObject();
    for (const auto& [strName, table] : content.arTables) {
        Put(writer, TextView(strName));
        Put(writer, table);
    }
    writer.EndObject();
    writer.EndObject();
}

void Put(JsonWriter& writer, const Event& event) {
    writer.StartObject();
    writer.Key("event");
    Put(writer, event.strKind);
    writer.Key("n");
    writer.Uint64(event.nNumber);
    writer.Key("ms");
    writer.Int64(event.nMilliseconds);
    for (const auto& [strName, value] : event.arFields) {
        Put(writer, strName);
        Put(writer, value);
    }
    writer.EndObject();
}

void Put(JsonWriter& writer, const Column& column, const Value& value) {
    Put(writer, std::string_view(column.strName));
    const auto* pNumber = std::get_if<std::int64_t>(&value);
    if (pNumber && column.nForm == Form::Flag) {
        writer.Bool(*pNumber != 0);
    } else {
        Put(writer, value);
    }
}

void Put(JsonWriter& writer, const Listing& listing) {
    writer.StartObject();
    writer.Key("total");
    writer.Uint64(listing.nTotal);
    writer.Key("rows");
    writer.StartArray();
    for (const auto& arRow : listing.arRows) {
        writer.StartObject();
        for (std::size_t i = 0; i < arRow.size(); ++i) Put(writer, listing.arColumns[i], arRow[i]);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
}

void Put(JsonWriter& writer, const Record& record) {
    writer.StartObject();
    for (const auto& [column, value] : record.arFields) Put(writer, column, value);
    writer.EndObject();
}

void Put(JsonWriter& writer, const Reply& reply) {
    writer.StartObject();
    writer.Key("reply");
    writer.RawValue(reply.strId.data(), reply.strId.size(), rapidjson::kNumberType);
    writer.Key("ok");
    writer.Bool(reply.strError.empty());
    if (!reply.strError.empty()) {
        writer.Key("error");
        Put(writer, std::string_view(reply.strError));
    }
    for (const auto& [strName, value] : reply.arMembers) {
        Put(writer, strName);
        std::visit([&writer](const auto& held) { Put(writer, held); }, value);
    }
    writer.EndObject();
}

template <typename T>
void WriteLine(ILineWriter& target, const T& shown) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    Put(writer, shown);
    buffer.Put('\n');
    target.Write({buffer.GetString(), buffer.GetSize()});
}

}  // namespace

void CJsonOutput::ShowEvent(const Event& event) { WriteLine(m_writer, event); }

void CJsonOutput::ShowReply(const Reply& reply) { WriteLine(m_writer, reply); }

}  // namespace qvant::host
