# What `cmake --install` puts where, and the files by which others find us.
