# SPDX-License-Identifier: BSD-2-Clause
#
# Prints "first,last,CC" for 560,000 neighbouring blocks of /20 to /26 from 1.0.0.0 on, spread over
# nations: the size of the databases that are in use. The same each time.
BEGIN {
    split("AT AU BE BR CA CH CN CZ DE DK EG ES FI FR GB GR HU IE IL IN IT JP KR MX NL NO NZ PL PT RO " \
        "RU SE SG TH TR TW UA US VN ZA", codes, " ")
    state = 1
    next_address = 16777216
    for (i = 0; i < 560000; ++i) {
        state = (state * 69069 + 1) % 4294967296
        size = 2 ^ (6 + int(state / 65536) % 7)
        first = int((next_address + size - 1) / size) * size
        # Neighbours of one nation would become one block.
        do {
            state = (state * 69069 + 1) % 4294967296
            code = codes[1 + int(state / 65536) % 40]
        } while (code == before)
        before = code
        printf "%d,%d,%s\n", first, first + size - 1, code
        next_address = first + size
    }
}
