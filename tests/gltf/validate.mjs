// Runs Khronos' validator over the glTF files given and says what it finds. Fails on errors and warnings; what is
// only for information (no texture uses the texture coordinates) is fine.

import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';

// Installed below the folder that this runs in, not beside this file.
const validator = createRequire(process.cwd() + '/')('gltf-validator');
const severities = ['error', 'warning', 'information', 'hint'];

const files = process.argv.slice(2);
let failed = files.length === 0;
if (failed)
    console.error('no files to validate');
for (const file of files) {
    const { issues } = await validator.validateBytes(new Uint8Array(readFileSync(file)), { uri: file });
    failed ||= issues.numErrors + issues.numWarnings > 0;
    console.log(`${file}: ${issues.numErrors} errors, ${issues.numWarnings} warnings`);
    for (const { severity, code, message, pointer } of issues.messages)
        if (severities[severity] === 'error' || severities[severity] === 'warning')
            console.error(`${file}: ${severities[severity]}: ${pointer}: ${message} [${code}]`);
}
process.exit(failed ? 1 : 0);
