# Where the benchmarks' peers are found. None of them is needed to build.

# fairlead_find_peer(peer result)
#
# Sets result to the library target of the peer, or to nothing. Headers of a
# peer count as the system's, so that their warnings are not ours.
function(fairlead_find_peer peer result)
  set(${result} "" PARENT_SCOPE)
endfunction()
