// The size of the file of a text model.
#ifndef ZANDREL_TESTS_CLI_MODEL_BYTES_H_
#define ZANDREL_TESTS_CLI_MODEL_BYTES_H_

#include <cstddef>

#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/KcIoMode.h"

#include "text/model/Text_model.h"

// The number of bytes of the container, written to memory.
inline std::size_t model_bytes(const zandrel::Text_model& model) {
    qtPtr<qtBuffer> buffer(new qtBuffer);
    KcIoMode mode;
    model.manager()->Write(buffer, &mode, nullptr);
    return buffer->bytes.size();
}

#endif  // ZANDREL_TESTS_CLI_MODEL_BYTES_H_
