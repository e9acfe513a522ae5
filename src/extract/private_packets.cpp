#include "extract/private_packets.h"

#include "demux/program_stream.h"

bool nextPrivatePacket(const std::uint8_t* pack, std::size_t* at, PrivatePacket* packet) {
  ps::Packet found;
  while (ps::nextPacket(pack, at, &found)) {
    if (found.streamId != ps::kPrivateStream1 || !found.mpeg2 || found.payload >= found.end)
      continue;
    packet->substream = pack[found.payload];
    packet->data = pack + found.payload + 1;
    packet->size = found.end - found.payload - 1;
    packet->pts = found.pts;
    return true;
  }
  return false;
}
