// MODE SENSE answers to the queries of partitions and parameters, and to the settings that change a page.
#include <cstdlib>

#include "fuzz/input.h"
#include "kiv/tape/parameters.h"
#include "kiv/tape/partitions.h"
#include "simulator/room/room.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static simulator::Room room;
  static ScsiTarget target;
  static const bool opened = [] {
    room.addDrive({.target = 5, .model = "ULTRIUM-PX6"}, {.cartridge = true});
    return target.openDevice(0, 5, 0, 0, nullptr, 1) == CMD_OK;
  }();
  if (!opened) std::abort();
  Input input(data, size);
  const std::uint8_t type = input.byte();
  room.faults().clear();
  room.addFault({.cdb = "1A", .times = 0, .reply = input.remainder()});
  room.addFault({.cdb = "15", .times = 0, .reply = simulator::Bytes()});

  CmdQueryTapePartition partitions(&target, 32);
  std::uint16_t count = 0, partitionSize = 0;
  if (partitions.getParameters() == CMD_OK) {
    partitions.getNumberOfPartitions(count);
    for (std::uint16_t i = 0; i <= count; ++i) partitions.getSize(i, partitionSize);
  }
  TapeCmdCreatePartition create(&target, 32);
  create.setAdditionalPartitionsDefined(type);
  create.createPartitions();
  TapeMetaCmdQueryParam query(&target, 32);
  query.queryParameter();
  for (std::uint32_t i = 0; i < query.getAllParameters().getParameterCount(); ++i)
    query.getAllParameters().getEntry(i)->getDecodedValue();
  TapeMetaCmdSetParam(&target, static_cast<ParamType>(type), 1, 32).setParameter();
  room.journal().clear();
  return 0;
}
