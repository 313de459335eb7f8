#!/usr/bin/env python3
"""comments_for_doxygen.py HEADER: the header with its comments as Doxygen takes them up, which ignores those
that begin with two slashes alone. A title inside an enumeration is no comment on the value below it."""

import re
import sys

text = open(sys.argv[1], encoding="utf-8").read()
text = re.sub(r"^\n  // [A-Z][^.\n]*\n(?=  \w+ = )", "\n\n", text, flags=re.M)
text = re.sub(r"^((?://.*\n)+)(?=\n)", r"// @file\n\1", text, flags=re.M)  # of no declaration
text = re.sub(r"^(\s*)// ", r"\1/// ", text, flags=re.M)
text = re.sub(r"^(\s*)//$", r"\1///", text, flags=re.M)
text = re.sub(r"(\S.*?[;,{]|=)  // ", r"\1  ///< ", text)
sys.stdout.write(text.replace("#pragma once\n", "#pragma once\n/// @file\n", 1))
