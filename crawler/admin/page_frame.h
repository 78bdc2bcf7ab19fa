// What stands around every page of the administration, and the pages that refuse.
#pragma once

#include <cstdint>

#include "crawler/admin/page_writer.h"
#include "crawler/fetch/http_message.h"

namespace wk {

// Sets status 200 and the Content-Type, and writes the head of the page up to its heading.
void begin_page(http_response& response, page_text title);
// Writes the link to the index and closes the page.
void end_page(http_response& response);

// A page that says what the status means; its end is left to the caller.
void begin_status_page(http_response& response, uint32_t status, page_text title);
// The whole page.
void write_status_page(http_response& response, uint32_t status, page_text title);

}  // namespace wk
