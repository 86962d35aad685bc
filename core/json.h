// Thin null-safe wrappers over cJSON used by every packer and parser.
#pragma once
#include <cjson/cJSON.h>

cJSON *MIO_JSON_CreateObject();
cJSON *MIO_JSON_CreateArray();
cJSON *MIO_JSON_CreateString(const char *s);
cJSON *MIO_JSON_CreateNumber(double n);
int MIO_JSON_AddItemToObject(cJSON *object, const char *key, cJSON *item);
int MIO_JSON_AddItemToArray(cJSON *array, cJSON *item);
char *MIO_JSON_PrintUnformatted(const cJSON *item);
cJSON *MIO_JSON_Parse(const char *text);
void MIO_JSON_Delete(cJSON *item);
cJSON *MIO_JSON_GetObjectItem(const cJSON *object, const char *key);
// 1 true, 0 false, -1 when an argument is null, the key is missing or not a boolean.
int MIO_JSON_GetObjectItemBool(const cJSON *object, const char *key);
// The member's integer value, 0 when missing.
int MIO_JSON_GetObjectItemInt(const cJSON *object, const char *key);
// The member's string value, null when missing or not a string.
const char *MIO_JSON_GetObjectItemString(const cJSON *object, const char *key);
int MIO_JSON_GetArraySize(const cJSON *array);
int MIO_JSON_GetArrayItemInt(const cJSON *array, int index);

namespace ky {
// Owns a parsed tree and deletes it on every path.
struct JsonDoc {
    cJSON *root;
    explicit JsonDoc(const char *text) : root(MIO_JSON_Parse(text)) {}
    ~JsonDoc() { MIO_JSON_Delete(root); }
    JsonDoc(const JsonDoc &) = delete;
    JsonDoc &operator=(const JsonDoc &) = delete;
    explicit operator bool() const { return root != nullptr; }
};
}  // namespace ky
