#include "boardctl/framework/json.h"

#include <nlohmann/json.hpp>

namespace boardctl {

namespace {

using Json = nlohmann::ordered_json;

struct AsJson {
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(Refusal refusal) const { return {{"error", refusal.code}}; }
    template <typename T> Json operator()(const T &value) const { return value; }
};

Json row_of(const Block &block, const std::vector<Value> &row)
{
    Json all = Json::object();
    for (size_t i = 0; i < row.size(); ++i) {
        all[block.fields[i].key] = std::visit(AsJson{}, row[i].data);
    }
    return all;
}

Json rows_of(const Block &block, const Result &result)
{
    Json all = Json::array();
    const auto found = result.rows().find(block.key);
    if (found != result.rows().end()) {
        for (const std::vector<Value> &row : found->second) {
            all.push_back(row_of(block, row));
        }
    }
    return all;
}

void put_fields(const Block &block, const Result &result, Json &into)
{
    const auto found = result.fields().find(block.key);
    if (found == result.fields().end()) {
        return;
    }
    for (const Field &field : block.fields) {
        const auto value = found->second.find(field.key);
        if (value != found->second.end()) {
            into[field.key] = std::visit(AsJson{}, value->second.data);
        }
    }
}

Json as_json(const Command &command, const Result &result)
{
    Json all = Json::object();
    for (const Block &block : command.output) {
        if (block.layout == Block::Layout::rows) {
            all[block.key] = rows_of(block, result);
        } else if (block.key.empty()) {
            put_fields(block, result, all);
        } else {
            put_fields(block, result, all[block.key] = Json::object());
        }
    }
    return all;
}

// Bytes beyond ASCII may be no UTF-8: they are replaced, the document stays
// valid.
std::string line_of(const Json &json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

// ---- Schemas ----------------------------------------------------------------

Json type_of(const Field &field)
{
    switch (field.type) {
    case Type::integer:
        return {{"type", "integer"}};
    case Type::boolean:
        return {{"type", "boolean"}};
    case Type::string:
        return {{"type", "string"}};
    case Type::integers:
        break;
    }
    return {{"type", "array"}, {"items", {{"type", "integer"}}}};
}

Json schema_of(const Field &field)
{
    Json all = type_of(field);
    if (field.may_be_null || field.may_refuse) {
        Json kinds = Json::array({all});
        if (field.may_be_null) {
            kinds.push_back({{"type", "null"}});
        }
        if (field.may_refuse) {
            kinds.push_back({{"$ref", "#/$defs/refusal"}});
        }
        all = {{"anyOf", kinds}};
    }
    all["description"] = field.help.empty() ? field.heading : field.help;
    return all;
}

Json object_of(const Json &properties)
{
    Json required = Json::array();
    for (const auto &[key, value] : properties.items()) {
        required.push_back(key);
    }
    return {{"type", "object"},
            {"properties", properties},
            {"required", required},
            {"additionalProperties", false}};
}

Json properties_of(const Block &block)
{
    Json all = Json::object();
    for (const Field &field : block.fields) {
        all[field.key] = schema_of(field);
    }
    return all;
}

Json schema_of(const std::vector<Block> &output)
{
    Json properties = Json::object();
    for (const Block &block : output) {
        if (block.layout == Block::Layout::rows) {
            properties[block.key] = {{"type", "array"}, {"items", object_of(properties_of(block))}};
        } else if (block.key.empty()) {
            properties.update(properties_of(block));
        } else {
            properties[block.key] = object_of(properties_of(block));
        }
    }
    return object_of(properties);
}

Json answer_schema(const std::string &name, const Command &command)
{
    Json all = object_of({{"command", {{"const", name}}},
                          {"result", schema_of(command.output)},
                          {"messages", {{"$ref", "#/$defs/messages"}}}});
    all["description"] = command.summary;
    return all;
}

Json error_schema()
{
    const Json integer = {{"type", "integer"}};
    const Json string = {{"type", "string"}};
    Json all = object_of({{"exit", integer}, {"meaning", string}});
    all["properties"]["operation"] = string;
    all["properties"]["code"] = integer;
    all["dependentRequired"] = {{"operation", {"code"}}};
    return all;
}

Json shared_schemas(const Json &names)
{
    const Json integer = {{"type", "integer"}};
    const Json string = {{"type", "string"}};
    const Json command = {{"enum", names}};
    return {
        {"refusal", object_of({{"error", integer}})},
        {"messages", {{"type", "array"}, {"items", string}}},
        {"failed", object_of({{"command", command},
                              {"error", error_schema()},
                              {"messages", {{"$ref", "#/$defs/messages"}}}})},
        {"under way",
         object_of({{"command", command},
                    {"progress",
                     object_of({{"stage", string}, {"current", integer}, {"total", integer}})}})},
        {"interrupted",
         object_of({{"command", command},
                    {"interrupted", object_of({{"signal", string}, {"state", string}})}})}};
}

// A name may have a blank, which a reference writes as %20.
Json reference_to(std::string name)
{
    for (size_t blank; (blank = name.find(' ')) != std::string::npos;) {
        name.replace(blank, 1, "%20");
    }
    return {{"$ref", "#/$defs/" + name}};
}

} // namespace

std::string result_document(const std::string &command, const Command &described,
                            const Result &result, const Messages &messages)
{
    return line_of(
        {{"command", command}, {"result", as_json(described, result)}, {"messages", messages}});
}

std::string error_document(const std::string &command, const ErrorReport &error,
                           const Messages &messages)
{
    Json report = {{"exit", error.exit}, {"meaning", error.meaning}};
    if (!error.operation.empty()) {
        report["operation"] = error.operation;
        report["code"] = error.code;
    }
    return line_of({{"command", command}, {"error", report}, {"messages", messages}});
}

std::string progress_document(const std::string &command, const std::string &stage, int64_t current,
                              int64_t total)
{
    return line_of({{"command", command},
                    {"progress", {{"stage", stage}, {"current", current}, {"total", total}}}});
}

std::string interrupted_document(const std::string &command, const std::string &signal,
                                 const std::string &state)
{
    return line_of({{"command", command}, {"interrupted", {{"signal", signal}, {"state", state}}}});
}

std::string schema_of(const Family &family)
{
    Json names = Json::array();
    Json answers = Json::object();
    for (const Command &command : family.commands) {
        const std::string name = full_name(family, command);
        names.push_back(name);
        answers["answer of " + name] = answer_schema(name, command);
    }
    Json documents = Json::array();
    for (const auto &[name, schema] : answers.items()) {
        documents.push_back(reference_to(name));
    }
    for (const char *name : {"failed", "under way", "interrupted"}) {
        documents.push_back(reference_to(name));
    }
    answers.update(shared_schemas(names));
    const Json all = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                      {"title", "boardctl " + family.name + " --json"},
                      {"description", "Each line of output is one such document."},
                      {"oneOf", documents},
                      {"$defs", answers}};
    return all.dump(1) + '\n';
}

} // namespace boardctl
