// render.mjs MODEL.glb SCENE.json PICTURE.png: one picture of a glTF file, drawn by three.js in headless Chromium.
// Runs in the folder that has node_modules/three.

import { spawn } from 'node:child_process';
import { createReadStream, existsSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const [model, scene, picture] = process.argv.slice(2);
const here = dirname(fileURLToPath(import.meta.url));
const profile = mkdtempSync(join(tmpdir(), 'render-'));
const types = { html: 'text/html', js: 'text/javascript', json: 'application/json' };
const files = { '/': join(here, 'page.html'), '/page.js': join(here, 'page.js'), '/model.glb': model, '/scene.json': scene };

function file_of(url) {
    if (url.startsWith('/three/') && !url.includes('..'))
        return join(process.cwd(), 'node_modules', url);
    return files[url];
}

function finish(status) {
    browser?.kill();
    server.close();
    server.closeAllConnections();
    clearTimeout(patience);
    process.exitCode = status;
}

async function receive(request, response) {
    const chunks = [];
    for await (const chunk of request)
        chunks.push(chunk);
    response.end();
    const body = Buffer.concat(chunks);
    if (request.url === '/picture')
        writeFileSync(picture, body);
    else
        console.error(body.toString());
    finish(request.url === '/picture' ? 0 : 1);
}

const server = createServer((request, response) => {
    if (request.method === 'POST')
        return receive(request, response);
    const file = file_of(request.url);
    if (!file || !existsSync(file))
        return response.writeHead(404).end();
    response.setHeader('Content-Type', types[file.split('.').pop()] ?? 'application/octet-stream');
    createReadStream(file).pipe(response);
});

let browser;
const patience = setTimeout(() => {
    console.error('the browser did not answer within two minutes');
    finish(1);
}, 120000);

server.listen(0, '127.0.0.1', () => {
    browser = spawn('chromium', [
        '--headless', '--no-sandbox', '--no-first-run', '--disable-gpu', '--use-angle=swiftshader',
        '--enable-unsafe-swiftshader', '--disable-background-networking', '--disable-component-update', '--disable-sync',
        `--user-data-dir=${profile}`, `http://127.0.0.1:${server.address().port}/`,
    ], { stdio: 'ignore' });
    browser.on('error', (error) => {
        console.error(`chromium: ${error.message}`);
        finish(1);
    });
    browser.on('exit', () => rmSync(profile, { recursive: true, force: true, maxRetries: 5 }));
});
