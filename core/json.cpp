// Null-safe wrappers over cJSON.
#include "core/json.h"

cJSON *MIO_JSON_CreateObject() { return cJSON_CreateObject(); }
cJSON *MIO_JSON_CreateArray() { return cJSON_CreateArray(); }
cJSON *MIO_JSON_CreateString(const char *s) { return s ? cJSON_CreateString(s) : nullptr; }
cJSON *MIO_JSON_CreateNumber(double n) { return cJSON_CreateNumber(n); }

int MIO_JSON_AddItemToObject(cJSON *object, const char *key, cJSON *item) {
    if (!object || !key || !item) return -1;
    return cJSON_AddItemToObject(object, key, item) ? 0 : -1;
}

int MIO_JSON_AddItemToArray(cJSON *array, cJSON *item) {
    if (!array || !item) return -1;
    return cJSON_AddItemToArray(array, item) ? 0 : -1;
}

char *MIO_JSON_PrintUnformatted(const cJSON *item) {
    return item ? cJSON_PrintUnformatted(item) : nullptr;
}

cJSON *MIO_JSON_Parse(const char *text) { return text ? cJSON_Parse(text) : nullptr; }

void MIO_JSON_Delete(cJSON *item) {
    if (item) cJSON_Delete(item);
}

cJSON *MIO_JSON_GetObjectItem(const cJSON *object, const char *key) {
    if (!object || !key) return nullptr;
    return cJSON_GetObjectItem(object, key);
}

int MIO_JSON_GetObjectItemBool(const cJSON *object, const char *key) {
    const cJSON *item = MIO_JSON_GetObjectItem(object, key);
    if (!item || !cJSON_IsBool(item)) return -1;
    return cJSON_IsTrue(item) ? 1 : 0;
}

int MIO_JSON_GetObjectItemInt(const cJSON *object, const char *key) {
    const cJSON *item = MIO_JSON_GetObjectItem(object, key);
    return item ? item->valueint : 0;
}

const char *MIO_JSON_GetObjectItemString(const cJSON *object, const char *key) {
    const cJSON *item = MIO_JSON_GetObjectItem(object, key);
    return cJSON_IsString(item) ? item->valuestring : nullptr;
}

int MIO_JSON_GetArraySize(const cJSON *array) { return array ? cJSON_GetArraySize(array) : 0; }

int MIO_JSON_GetArrayItemInt(const cJSON *array, int index) {
    const cJSON *item = array ? cJSON_GetArrayItem(array, index) : nullptr;
    return item ? item->valueint : 0;
}
