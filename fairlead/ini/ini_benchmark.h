// What the benchmarks of the INI store share: the installed peers, and a check
// that all give the same results. Not installed.

#ifndef FAIRLEAD_INI_INI_BENCHMARK_H_
#define FAIRLEAD_INI_INI_BENCHMARK_H_

#include <cstdio>
#include <cstdlib>

#ifdef FAIRLEAD_PEER_SIMPLEINI
#define SI_NO_CONVERSION  // Bytes stay bytes, as here.
#include <SimpleIni.h>
#endif
#ifdef FAIRLEAD_PEER_INIH
#include <ini.h>
#endif
#ifdef FAIRLEAD_PEER_INIPARSER
#include <iniparser/iniparser.h>
#endif
#ifdef FAIRLEAD_PEER_GLIB
#include <glib.h>
#endif
#ifdef FAIRLEAD_PEER_BOOST_PROPERTY_TREE
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#endif

namespace fairlead {

inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_BENCHMARK_H_
