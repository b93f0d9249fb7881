// The start of a model writer's output run: the write info filled from the
// driver's request and the option report printed on the info stream.
#pragma once

#include <cstdint>

#include "binary/write_info.h"

struct ScNodeList;

// Fills the write info from the request (the node list's option words and
// chunkFlags), binds `writer`, and prints the option report. chunkModel is 1
// for the Chunk-model writer, 0 for the Basic-model writer.
void VKInitWriteInfo(VKWriteInfo *info, const VKWriteRequest &request, uint32_t chunkModel, VKWriter *writer);

// The option report on the info stream, from the node list's words.
void PrintOptionReport(const ScNodeList *nodeList, uint32_t chunkFlags);
// The same from the words themselves (modelFlags, outputFlags, the node
// list's infobits).
void PrintOptionReportWords(uint32_t modelFlags, uint32_t outputFlags, uint32_t infoBits,
                            uint32_t chunkFlags);
