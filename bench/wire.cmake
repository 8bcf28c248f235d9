# SPDX-License-Identifier: Apache-2.0
add_executable(wire_bench wire_bench.cpp ${PROJECT_SOURCE_DIR}/daemon/message.cpp)
target_link_libraries(wire_bench PRIVATE vxp_flags)

# The same libraries as vxpd, whether or not it calls them: its memory is what vxpd's is compared with.
add_executable(bare_responder bare_responder.cpp)
target_link_libraries(bare_responder PRIVATE vxp_bare -Wl,--no-as-needed lsqlquery OpenSSL::Crypto ${VXP_CRYPT_LIBRARY} pthread)
set_target_properties(bare_responder PROPERTIES LINKER_LANGUAGE C)
