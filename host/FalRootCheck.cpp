#include "host/FalRootCheck.h"

#include <json-c/json.h>

#include <fstream>
#include <sstream>

#include "host/LocalDbCtrl.h"

namespace {

// What is wrong with a document's text; "" when it is a JSON object.
std::string problemOf(const std::string& text)
{
    if (text.empty())
        return "it is empty";
    json_tokener* tok = json_tokener_new();
    if (!tok)
        return "out of memory";
    json_tokener_set_flags(tok, JSON_TOKENER_STRICT);
    json_object* value = json_tokener_parse_ex(tok, text.c_str(), static_cast<int>(text.size() + 1));
    enum json_tokener_error rc = json_tokener_get_error(tok);
    size_t end = json_tokener_get_parse_end(tok);
    json_tokener_free(tok);
    std::string problem;
    if (rc != json_tokener_success)
        problem = std::string("it is not valid JSON (") + json_tokener_error_desc(rc) + ")";
    else if (end < text.size())
        problem = "it has text after the JSON value (at byte " + std::to_string(end) + ")";
    else if (!json_object_is_type(value, json_type_object))
        problem = std::string("it holds a JSON ") + json_type_to_name(json_object_get_type(value)) +
                  ", not an object";
    json_object_put(value);
    return problem;
}

}  // namespace

bool falCheckRootDocuments(const std::string& root, std::string& error)
{
    const std::string dir = root.empty() ? "." : root;
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
        const std::string rel = std::string("db/") + LocalDbCtrl::documentName(t) + ".json";
        const std::string path = dir + "/" + rel;
        std::ifstream in(path, std::ios::binary);
        std::string problem;
        if (!in) {
            problem = "it is missing or unreadable";
        } else {
            std::ostringstream text;
            text << in.rdbuf();
            problem = problemOf(text.str());
        }
        if (!problem.empty()) {
            error = "the document " + path + " is damaged: " + problem +
                    ". Restore it from a backup, or move " + dir +
                    "/db aside to start again from the factory defaults.";
            return false;
        }
    }
    return true;
}
