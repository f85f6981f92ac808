#pragma once
// KOR_FEC_ID_MAP(V, name, Name): a hash-map attribute keyed by FEC id with the
// generated operations of VIX_HASH_MAP, that refuses invalidFecId_ as a key:
// no live adjacency carries it, so writing it is a broken invariant (a fatal
// assertion naming the attribute; with KOR_NOOP_AGENT the write is dropped).
#include "kor/common/KorAssert.h"
#include "quill/FecId.h"
#include "vix/Entity.h"
#include "vix/HashMap.h"

#define KOR_FEC_ID_GUARD(k, nameText)                            \
  if (!(k).isValid()) {                                          \
    ::Kor::korAssert("invalidFecId_ used as key of " nameText); \
    return;                                                      \
  }

#define KOR_FEC_ID_MAP(V, name, Name) \
  VIX_GUARDED_MAP_IMPL(Vix::HashMap, Quill::Fib::FecId, V, name, Name, KOR_FEC_ID_GUARD)
