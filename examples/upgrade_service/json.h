// One line of JSON.
#ifndef UPGRADE_SERVICE_JSON_H
#define UPGRADE_SERVICE_JSON_H

#include <string>
#include <vector>

namespace upgrade_service {

class JsonLine {
public:
    JsonLine &text(const char *key, const std::string &value);
    JsonLine &texts(const char *key, const std::vector<std::string> &values);
    JsonLine &number(const char *key, long long value);
    JsonLine &truth(const char *key, bool value);
    JsonLine &null(const char *key);

    // With its end of line.
    std::string line() const { return '{' + members_ + "}\n"; }

private:
    JsonLine &add(const char *key, const std::string &value);

    std::string members_;
};

} // namespace upgrade_service

#endif
