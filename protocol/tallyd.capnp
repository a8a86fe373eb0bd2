# SPDX-License-Identifier: BSD-2-Clause
#
# What travels between the daemon and its clients, over one local stream socket. Both ends export an
# interface: the client gives its agent when it connects and gets the helper back. A request that its
# sender drops is cancelled. Ordinals only grow: an older peer answers a newer request with
# "unimplemented".
@0xe7bb8126b4a1c47a;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("brindle::wire");

interface TallydBootstrap {
  # What a connection begins with.
  connect @0 (agent :TallydAgentProtocol) -> (helper :TallydHelperProtocol);
}

interface TallydHelperProtocol {
  # The requests, in their declared order. Times are seconds since 1970-01-01 00:00 UTC, fractional.
  # action: "pass" or "block"; direction: "in" or "out".

  getVersion @0 () -> (version :Text);

  doQueryFromEpoch @1 (from :Float64, to :Float64, sink :RecordSink) -> (batches :UInt32);
  # Both bounds included, newest first. `batches` is how many the sink was given: the answer is whole
  # once they and this return are there.

  getOBJcont @2 (epoch :Float64, action :Text, direction :Text, obj :Text, sink :CountSink)
      -> (batches :UInt32, sequence :UInt64);
  # obj: "SRCIP", "DSTIP" or "DSTPORT". Every record up to `sequence` is counted, none after it.

  startSendingLog @3 () -> ();
  stopSendingLog @4 () -> ();

  getPORTfromIPcont @5 (epoch :Float64, ip :Text, action :Text, direction :Text, sink :CountSink)
      -> (batches :UInt32, sequence :UInt64);
  getIPfromPORTcont @6 (epoch :Float64, port :Int64, action :Text, direction :Text, sink :CountSink)
      -> (batches :UInt32, sequence :UInt64);

  sendPortsArrays @7 (passin :List(Text), passout :List(Text), blockin :List(Text),
                      blockout :List(Text)) -> ();

  getOldestRecordDate @8 () -> (date :MaybeEpoch);
  getNewestRecordDate @9 () -> (date :MaybeEpoch);
  # The reader makes the text, in its own time zone.

  getRowsCount @10 () -> (rows :UInt64);
  purgeLogDB @11 (endDate :Float64) -> ();

  # Additions to the twelve requests.

  getStatus @12 () -> (status :DaemonStatus);
}

interface TallydAgentProtocol {
  # Called by the daemon of its own accord.
  realTimeLog @0 (info :LiveRecord) -> ();
  sendLogUserNotification @1 (info :List(TextPair)) -> ();
}

interface RecordSink {
  batch @0 (batch :RecordBatch) -> stream;
}

interface CountSink {
  batch @0 (list :CountList, entries :CountBatch) -> stream;
}

enum CountList {
  entries @0;   # the table's rows
  pie @1;       # the second list of a breakdown
}

struct TextTable {
  # Distinct texts one after the other, and where each of them ends.
  characters @0 :Data;
  ends @1 :List(UInt32);
}

struct RecordBatch {
  # A column a field, all of the same length; texts by index into the table.
  epochs @0 :List(Float64);
  uids @1 :List(UInt32);
  srcports @2 :List(UInt16);
  dstports @3 :List(UInt16);
  rules @4 :List(UInt16);
  actions @5 :List(UInt16);
  directions @6 :List(UInt16);
  interfaces @7 :List(UInt16);
  srcips @8 :List(UInt16);
  dstips @9 :List(UInt16);
  protos @10 :List(UInt16);
  texts @11 :TextTable;
}

struct CountBatch {
  # Entry i has the label i of the table.
  labels @0 :TextTable;
  values @1 :List(Int64);
  kinds @2 :List(UInt8);   # bit 0: an address, bit 1: a port
}

struct LiveRecord {
  epoch @0 :Float64;
  sequence @1 :UInt64;
  uid @2 :UInt32;
  srcport @3 :UInt16;
  dstport @4 :UInt16;
  ipVersion @5 :UInt8;     # 4 or 6; 0 without addresses
  action @6 :Action;
  direction @7 :Direction;
  srcip @8 :Data;          # 4 or 16 bytes in network order
  dstip @9 :Data;
  rule @10 :Text;
  interface @11 :Text;
  proto @12 :Text;
}

enum Action {
  pass @0;
  block @1;
}

enum Direction {
  in @0;
  out @1;
}

struct MaybeEpoch {
  union {
    nothing @0 :Void;
    epoch @1 :Float64;
  }
}

struct TextPair {
  key @0 :Text;
  value @1 :Text;
}

struct Figure {
  name @0 :Text;
  count @1 :UInt64;
}

struct SourceStatus {
  name @0 :Text;
  state @1 :Text;
  received @2 :UInt64;
  stored @3 :UInt64;
  lost @4 :List(Figure);   # by reason
}

struct DaemonStatus {
  received @0 :UInt64;
  stored @1 :UInt64;
  lost @2 :List(Figure);
  rows @3 :UInt64;
  storeBytes @4 :UInt64;
  oldest @5 :MaybeEpoch;
  newest @6 :MaybeEpoch;
  clients @7 :UInt64;
  liveClients @8 :UInt64;
  liveLost @9 :UInt64;
  sources @10 :List(SourceStatus);
}
