// Shows /model.glb as /scene.json asks for and posts the picture.
//
//   size       [width, height] of the picture
//   camera     { turn, raise } in degrees, { distance } in radii of the model, { field } of view in degrees
//   colours    per part, or "*" for all others
//   hidden     parts that are left out
//   pose       per bone, degrees about x, y and z, on top of its bind pose

import * as THREE from 'three';
import { GLTFLoader } from 'three/addons/loaders/GLTFLoader.js';
import { RoomEnvironment } from 'three/addons/environments/RoomEnvironment.js';

const radians = THREE.MathUtils.degToRad;

// A part of several pieces is a group in three.js, with one mesh for each. Names that are not unique have been
// changed; the original then is in the user data.
function paint(model, { colours, hidden = [] }) {
    for (const part of model.children) {
        const name = part.userData.name ?? part.name;
        part.visible = !hidden.includes(name);
        part.traverse((mesh) => {
            if (!mesh.isMesh)
                return;
            mesh.material = mesh.material.clone();
            mesh.material.color.set(colours[name] ?? colours['*']);
            mesh.castShadow = mesh.receiveShadow = true;
            mesh.frustumCulled = false;
        });
    }
}

function pose(model, angles = {}) {
    for (const [bone, [x, y, z]] of Object.entries(angles)) {
        const node = model.getObjectByName(bone);
        if (!node)
            throw new Error(`no bone ${bone}`);
        node.quaternion.multiply(new THREE.Quaternion().setFromEuler(new THREE.Euler(radians(x), radians(y), radians(z))));
    }
    model.updateMatrixWorld(true);
}

// Where the visible parts are, as posed.
function bounds(model) {
    const box = new THREE.Box3();
    const point = new THREE.Vector3();
    model.traverseVisible((mesh) => {
        const positions = mesh.isMesh && mesh.geometry.getAttribute('position');
        for (let i = 0; positions && i < positions.count; ++i)
            box.expandByPoint(mesh.localToWorld(mesh.getVertexPosition(i, point)));
    });
    return box;
}

function lit_scene(renderer, box) {
    const scene = new THREE.Scene();
    scene.background = new THREE.Color('#e9e6df');
    const environment = new THREE.PMREMGenerator(renderer);
    scene.environment = environment.fromScene(new RoomEnvironment(), 0.04).texture;
    scene.environmentIntensity = 0.45;

    const sphere = box.getBoundingSphere(new THREE.Sphere());
    const sun = new THREE.DirectionalLight('#fff4e0', 2.1);
    sun.position.copy(sphere.center).add(new THREE.Vector3(0.9, 1.6, 1.1).multiplyScalar(2 * sphere.radius));
    sun.target.position.copy(sphere.center);
    sun.castShadow = true;
    sun.shadow.mapSize.set(2048, 2048);
    sun.shadow.radius = 6;
    sun.shadow.normalBias = 0.004 * sphere.radius;
    Object.assign(sun.shadow.camera, {
        left: -2 * sphere.radius, right: 2 * sphere.radius, bottom: -2 * sphere.radius, top: 2 * sphere.radius,
        near: sphere.radius, far: 9 * sphere.radius,
    });
    scene.add(sun, sun.target);

    const ground = new THREE.Mesh(new THREE.CircleGeometry(12 * sphere.radius, 64), new THREE.ShadowMaterial({ opacity: 0.28 }));
    ground.rotation.x = -Math.PI / 2;
    ground.position.y = box.min.y;
    ground.receiveShadow = true;
    scene.add(ground);
    return scene;
}

function placed_camera(box, aspect, { turn, raise, distance, field = 30 }) {
    const sphere = box.getBoundingSphere(new THREE.Sphere());
    const camera = new THREE.PerspectiveCamera(field, aspect, 0.01 * sphere.radius, 40 * sphere.radius);
    const direction = new THREE.Vector3().setFromSphericalCoords(1, radians(90 - raise), radians(turn));
    camera.position.copy(sphere.center).addScaledVector(direction, distance * sphere.radius);
    camera.lookAt(sphere.center);
    return camera;
}

async function draw() {
    const wanted = await (await fetch('/scene.json')).json();
    const [width, height] = wanted.size;
    const model = (await new GLTFLoader().loadAsync('/model.glb')).scene;
    paint(model, wanted);
    pose(model, wanted.pose);
    const box = bounds(model);

    const renderer = new THREE.WebGLRenderer({ antialias: true, preserveDrawingBuffer: true });
    renderer.setSize(width, height);
    renderer.toneMapping = THREE.ACESFilmicToneMapping;
    renderer.shadowMap.enabled = true;
    renderer.shadowMap.type = THREE.PCFSoftShadowMap;
    document.body.append(renderer.domElement);
    const scene = lit_scene(renderer, box);
    scene.add(model);
    renderer.render(scene, placed_camera(box, width / height, wanted.camera));
    return new Promise((done) => renderer.domElement.toBlob(done, 'image/png'));
}

try {
    await fetch('/picture', { method: 'POST', body: await draw() });
} catch (error) {
    await fetch('/failure', { method: 'POST', body: String(error.stack ?? error) });
}
