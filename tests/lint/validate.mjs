// Checks SARIF files against the schema of version 2.1.0: node validate.mjs FILE...
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";

// The packages are those of the current folder.
const require = createRequire(`${process.cwd()}/`);
const Ajv = require("ajv");
const ajv = new Ajv({ schemaId: "auto", unknownFormats: "ignore", allErrors: true });
ajv.addMetaSchema(require("ajv/lib/refs/json-schema-draft-04.json"));
const validate = ajv.compile(require("@microsoft/jest-sarif/lib/schemas/sarif-2.1.0-rtm.5.json"));
let failed = false;
for (const file of process.argv.slice(2)) {
    const log = JSON.parse(readFileSync(file, "utf8"));
    const valid = validate(log);
    console.log(`${file}: ${valid ? "valid" : "not valid"}, ${log.runs[0].results.length} results`);
    if (!valid)
        console.log(JSON.stringify(validate.errors, null, 1));
    failed ||= !valid;
}
process.exit(failed ? 1 : 0);
