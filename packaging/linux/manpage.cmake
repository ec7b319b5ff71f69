# SPDX-License-Identifier: MIT
# Writes `manpage` from `manpage_source`, for a user guide in the folder `doc`. A bare "-" is no minus sign there.
string(REPLACE - \\- user_guide ${doc}/user-guide.md)
configure_file(${manpage_source} ${manpage} @ONLY NO_SOURCE_PERMISSIONS)
