// From a request to the page that answers it.
#pragma once

#include "crawler/core/crawler.h"
#include "crawler/fetch/http_message.h"

namespace wk {

// Fills the response, which was reset before. Threads: the administration thread.
void answer_admin_request(Crawler& crawler, const http_request& request, http_response& response);

}  // namespace wk
