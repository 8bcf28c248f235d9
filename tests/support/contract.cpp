// SPDX-License-Identifier: Apache-2.0
#include "tests/support/contract.h"

#include "tests/support/support.h"

namespace
{

// Form feeds between the outputs: JSON has none.
const char *const validate = R"(
import json, sys
from jsonschema import Draft202012Validator, exceptions
schema = json.load(open(sys.argv[1]))
Draft202012Validator.check_schema(schema)
kinds = {'devices': 'envelope', 'device': 'deviceLine', 'error': 'errorLine', 'event': 'eventLine'}
validators = {key: Draft202012Validator({**schema, 'oneOf': [{'$ref': '#/$defs/' + kind}]})
              for key, kind in kinds.items()}
validators[''] = Draft202012Validator(schema)
for output in sys.stdin.buffer.read().decode('ascii').split('\f'):
    try:
        try:
            values = [json.loads(output)]
        except ValueError:
            values = [json.loads(line) for line in output.splitlines()]
        for value in values:
            key = next((key for key in kinds if key in value), '')
            problem = exceptions.best_match(validators[key].iter_errors(value))
            if problem:
                print(problem.json_path + ': ' + problem.message + '\n' + output)
    except ValueError as problem:
        print(str(problem) + '\n' + output)
)";

} // namespace

std::string contractProblems(const std::vector<std::string> &outputs)
{
    if (outputs.empty())
        return "";
    std::string all;
    for (const std::string &output : outputs)
        all += (all.empty() ? "" : "\f") + output;
    const Result result = capture(
        [] {
            return execute({"/usr/bin/python3", "-c", validate, VXP_SOURCE_DIR "/client/vxpctl.schema.json"});
        },
        all);
    return result.strOut + result.strErr;
}
