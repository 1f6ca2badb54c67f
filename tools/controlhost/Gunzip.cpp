#include "tools/controlhost/Gunzip.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <memory>

namespace fliprugair::controlhost {

namespace {

struct End {
  void operator()(z_stream* stream) const { inflateEnd(stream); }
};

}  // namespace

std::optional<std::string> gunzipped(std::string_view bytes, std::size_t longest,
                                     const std::function<bool(std::size_t)>& hasRoom) {
  constexpr int windowOfGzip = 15 + 16;
  z_stream stream{};
  if (inflateInit2(&stream, windowOfGzip) != Z_OK) return std::nullopt;
  const std::unique_ptr<z_stream, End> end(&stream);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  std::string text;
  std::array<char, 16384> piece{};
  int code = Z_OK;
  while (code == Z_OK && text.size() <= longest) {
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = static_cast<uInt>(piece.size());
    code = inflate(&stream, Z_NO_FLUSH);
    const std::size_t count = std::min(piece.size() - stream.avail_out, longest + 1 - text.size());
    if (!hasRoom(count)) return std::nullopt;
    text.append(piece.data(), count);
    if (code == Z_STREAM_END && stream.avail_in > 0) code = inflateReset(&stream);  // another member follows
  }
  return code == Z_STREAM_END || text.size() > longest ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace fliprugair::controlhost
