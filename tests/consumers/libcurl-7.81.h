// Included before a source that uses libcurl: makes a newer libcurl's headers those of 7.81, the oldest that is taken.
// The number is that version's, and whatever came with a later one, in libcurl's list of symbols, cannot be used.
#pragma once

#define CURL_DISABLE_DEPRECATION
#include <curl/curl.h>

#undef LIBCURL_VERSION_NUM
#define LIBCURL_VERSION_NUM 0x075100

#undef CURLH_HEADER
#undef CURLH_TRAILER
#undef CURLH_CONNECT
#undef CURLH_1XX
#undef CURLH_PSEUDO
#undef CURL_VERSION_THREADSAFE
#undef CURL_WRITEFUNC_ERROR
#undef CURLU_PUNYCODE
#pragma GCC poison curl_easy_header curl_easy_nextheader curl_ws_recv curl_ws_send curl_ws_meta
#pragma GCC poison CURLE_UNRECOVERABLE_POLL CURLM_UNRECOVERABLE_POLL CURLINFO_CAINFO CURLINFO_CAPATH
#pragma GCC poison CURLOPT_SSH_HOSTKEYDATA CURLOPT_SSH_HOSTKEYFUNCTION CURLOPT_PROTOCOLS_STR
#pragma GCC poison CURLOPT_REDIR_PROTOCOLS_STR CURLOPT_WS_OPTIONS CURLOPT_CA_CACHE_TIMEOUT CURLOPT_QUICK_EXIT
#pragma GCC poison CURLUE_LACKS_IDN CURL_HTTP_VERSION_3ONLY CURL_LOCK_DATA_HSTS
