# The module's version, which is the repository's too.
set(RENDERERAUDIO_VERSION 0.1.0)
