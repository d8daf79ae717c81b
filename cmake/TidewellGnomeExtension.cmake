# SPDX-License-Identifier: MIT
# Joins the GNOME Shell extension's module bodies into one extension.js (cmake -P): HEAD, the
# window service's D-Bus interface (XML) as a constant, BODIES in order, TAIL; into OUTPUT.
file(READ ${HEAD} text)
file(READ ${XML} xml)
# The interface alone, without the comments meant for readers of the file.
string(REGEX REPLACE "<!--[^>]*-->" "" xml "${xml}")
string(REGEX REPLACE "<!DOCTYPE[^>]*>" "" xml "${xml}")
string(REGEX REPLACE "\n[ \t]*\n" "\n" xml "${xml}")
string(STRIP "${xml}" xml)
string(APPEND text "\nconst TidewellShellInterfaceXML = `${xml}`;\n")
foreach(body ${BODIES})
  file(READ ${body} part)
  string(APPEND text "\n${part}")
endforeach()
file(READ ${TAIL} tail)
string(APPEND text "${tail}")
file(WRITE ${OUTPUT}.tmp "${text}")
file(RENAME ${OUTPUT}.tmp ${OUTPUT})
