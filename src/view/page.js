// The view page's script: reads the document the library wrote into #zorrob-data, computes the
// arm's poses with the arm's own product of exponentials, and draws the scene (three.js), the
// playback, the joint charts and the tables. See zor/rob/view.hpp for the test interface.
'use strict';
// One block, not a function: the page's names stay out of the global object.
{

  const data = JSON.parse(document.getElementById('zorrob-data').textContent);
  const SVG = 'http://www.w3.org/2000/svg';
  // Path categories in the library's order (view_page.cpp): a digit per sample indexes them.
  const CATEGORIES = [
    { name: 'clean', color: '#2ca02c' },
    { name: 'speed reduced', color: '#17becf' },
    { name: 'near a singularity', color: '#9467bd' },
    { name: 'configuration change', color: '#1f77b4' },
    { name: 'joint limit', color: '#e377c2' },
    { name: 'unreachable', color: '#d62728' },
  ];
  const ARM_COLOR = 0xff8c1a;
  const PLAY_MM_PER_S = 250;

  // ---- Data ----

  function decode(base64, Type) {
    const text = atob(base64);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
    return new Type(bytes.buffer);
  }

  const samples = data.samples || { count: 0, joints: '', tcp: '', categories: '', moveStarts: [] };
  const count = samples.count;
  const sampleJoints = decode(samples.joints, Float64Array);
  const sampleTcp = decode(samples.tcp, Float32Array);
  const events = data.events || [];
  const moves = data.moves || [];
  const targets = data.targets || [];

  // The playback axis: time where the samples are timed, else the distance the tool centre
  // point travels, else the sample number.
  const axis = (function () {
    const xs = new Float64Array(count);
    if (samples.time) return { xs: decode(samples.time, Float64Array), label: 'time (s)', timed: true };
    for (let i = 1; i < count; ++i) {
      const dx = sampleTcp[3 * i] - sampleTcp[3 * i - 3];
      const dy = sampleTcp[3 * i + 1] - sampleTcp[3 * i - 2];
      const dz = sampleTcp[3 * i + 2] - sampleTcp[3 * i - 1];
      xs[i] = xs[i - 1] + Math.sqrt(dx * dx + dy * dy + dz * dz);
    }
    if (count > 1 && xs[count - 1] > 0) return { xs: xs, label: 'path length (mm)', timed: false };
    for (let i = 0; i < count; ++i) xs[i] = i;
    return { xs: xs, label: 'sample', timed: false };
  })();

  function jointsOfSample(i) {
    return Array.from(sampleJoints.subarray(6 * i, 6 * i + 6));
  }

  function moveOfSample(i) {
    let move = -1;
    for (const start of samples.moveStarts) {
      if (start[1] > i) break;
      move = start[0];
    }
    return move;
  }

  // ---- Kinematics: T = e^[S1]θ1 ⋯ e^[S6]θ6 · M, rotations row-major 3x3 ----

  function mulR(a, b) {
    const r = new Array(9);
    for (let i = 0; i < 3; ++i)
      for (let j = 0; j < 3; ++j)
        r[3 * i + j] = a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j] + a[3 * i + 2] * b[6 + j];
    return r;
  }
  function mulRv(a, v) {
    return [a[0] * v[0] + a[1] * v[1] + a[2] * v[2], a[3] * v[0] + a[4] * v[1] + a[5] * v[2],
      a[6] * v[0] + a[7] * v[1] + a[8] * v[2]];
  }
  function compose(a, b) {
    const p = mulRv(a.R, b.p);
    return { R: mulR(a.R, b.R), p: [p[0] + a.p[0], p[1] + a.p[1], p[2] + a.p[2]] };
  }
  function quatToR(w, x, y, z) {
    const n = Math.sqrt(w * w + x * x + y * y + z * z);
    w /= n; x /= n; y /= n; z /= n;
    return [1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y),
      2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x),
      2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)];
  }
  // The exponential of the screw s = (ω, v) with unit ω turned by theta radians.
  function expScrew(s, theta) {
    const K = [0, -s[2], s[1], s[2], 0, -s[0], -s[1], s[0], 0];
    const K2 = mulR(K, K);
    const c = Math.cos(theta), sn = Math.sin(theta);
    const R = new Array(9), G = new Array(9);
    for (let k = 0; k < 9; ++k) {
      const identity = k % 4 === 0 ? 1 : 0;
      R[k] = identity + sn * K[k] + (1 - c) * K2[k];
      G[k] = identity * theta + (1 - c) * K[k] + (theta - sn) * K2[k];
    }
    return { R: R, p: mulRv(G, [s[3], s[4], s[5]]) };
  }
  function poseToT(p) {
    return { R: quatToR(p[3], p[4], p[5], p[6]), p: [p[0], p[1], p[2]] };
  }

  const arm = data.arm;
  const flangeHome = { R: quatToR(arm.flangeHome[3], arm.flangeHome[4], arm.flangeHome[5],
    arm.flangeHome[6]), p: arm.flangeHome.slice(0, 3) };

  // The frames before each joint (joint i's point and axis move with frames[i]) and the flange.
  function kinematics(joints) {
    let T = { R: [1, 0, 0, 0, 1, 0, 0, 0, 1], p: [0, 0, 0] };
    const frames = [];
    for (let i = 0; i < 6; ++i) {
      frames.push(T);
      T = compose(T, expScrew(arm.screws[i], joints[i] * Math.PI / 180));
    }
    return { frames: frames, flange: compose(T, flangeHome) };
  }

  // ---- Page layout ----

  function element(tag, attributes, parent, text) {
    const e = document.createElement(tag);
    for (const key in attributes) e.setAttribute(key, attributes[key]);
    if (text !== undefined) e.textContent = text;
    if (parent) parent.appendChild(e);
    return e;
  }

  const header = element('header', {}, document.body);
  element('h1', {}, header, data.title);
  const legend = element('div', { class: 'legend' }, header);
  for (const c of CATEGORIES) element('span', { style: '--swatch:' + c.color }, legend, c.name);
  element('span', { style: '--swatch:#' + ARM_COLOR.toString(16) }, legend, 'arm');
  const main = element('main', {}, document.body);
  const sceneBox = element('div', { id: 'scene' }, main);
  const labelLayer = element('div', { id: 'labels' }, sceneBox);
  const aside = element('aside', {}, main);

  // ---- Scene ----

  const renderer = new THREE.WebGLRenderer({ antialias: true, preserveDrawingBuffer: true });
  renderer.setPixelRatio(window.devicePixelRatio || 1);
  renderer.setClearColor(0xf4f6f8);
  sceneBox.insertBefore(renderer.domElement, labelLayer);
  const scene = new THREE.Scene();
  scene.add(new THREE.AmbientLight(0xffffff, 0.75));
  const sun = new THREE.DirectionalLight(0xffffff, 0.35);
  sun.position.set(1, -2, 3);
  scene.add(sun);

  // The arm's size sets the scale of everything drawn.
  const reach = (function () {
    let r = 0;
    const points = arm.points.concat([arm.flangeHome.slice(0, 3)]);
    for (const p of points) r = Math.max(r, Math.hypot(p[0], p[1], p[2]));
    return Math.max(r, 100);
  })();
  const linkRadius = reach * 0.025;

  const grid = new THREE.GridHelper(reach * 3, 12, 0xbbbbbb, 0xdddddd);
  grid.rotation.x = Math.PI / 2;
  scene.add(grid);

  // A frame: x red, y green, z blue, placed by setting its matrix.
  const frameColors = new Float32Array([0.85, 0.1, 0.1, 0.85, 0.1, 0.1, 0.1, 0.65, 0.1, 0.1,
    0.65, 0.1, 0.1, 0.25, 0.9, 0.1, 0.25, 0.9]);
  function frameHelper(size) {
    const geometry = new THREE.BufferGeometry();
    geometry.setAttribute('position', new THREE.Float32BufferAttribute(
      [0, 0, 0, size, 0, 0, 0, 0, 0, 0, size, 0, 0, 0, 0, 0, 0, size], 3));
    geometry.setAttribute('color', new THREE.BufferAttribute(frameColors, 3));
    const helper = new THREE.LineSegments(geometry,
      new THREE.LineBasicMaterial({ vertexColors: true }));
    helper.matrixAutoUpdate = false;
    scene.add(helper);
    return helper;
  }
  function placeFrame(helper, T) {
    const R = T.R, p = T.p;
    helper.matrix.set(R[0], R[1], R[2], p[0], R[3], R[4], R[5], p[1], R[6], R[7], R[8], p[2],
      0, 0, 0, 1);
  }
  frameHelper(reach * 0.2);

  const armMaterial = new THREE.MeshLambertMaterial({ color: ARM_COLOR });
  const jointMaterial = new THREE.MeshLambertMaterial({ color: 0x555a60 });
  const unitCylinder = new THREE.CylinderGeometry(1, 1, 1, 20);
  const up = new THREE.Vector3(0, 1, 0);

  // A cylinder of `radius` from a to b (three.js cylinders stand along y).
  function placeCylinder(mesh, a, b, radius) {
    const d = new THREE.Vector3(b[0] - a[0], b[1] - a[1], b[2] - a[2]);
    const length = d.length();
    mesh.visible = length > 1e-6;
    if (!mesh.visible) return;
    mesh.position.set((a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2);
    mesh.quaternion.setFromUnitVectors(up, d.normalize());
    mesh.scale.set(radius, length, radius);
  }

  const links = [];
  for (let i = 0; i < 7; ++i) {
    links.push(new THREE.Mesh(unitCylinder, armMaterial));
    scene.add(links[i]);
  }
  const housings = [];
  const axisLines = [];
  for (let i = 0; i < 6; ++i) {
    housings.push(new THREE.Mesh(unitCylinder, jointMaterial));
    scene.add(housings[i]);
    const geometry = new THREE.BufferGeometry();
    geometry.setAttribute('position', new THREE.Float32BufferAttribute(new Float32Array(6), 3));
    axisLines.push(new THREE.Line(geometry, new THREE.LineDashedMaterial({
      color: 0x333333, dashSize: reach * 0.02, gapSize: reach * 0.015 })));
    scene.add(axisLines[i]);
  }
  const basePlate = new THREE.Mesh(unitCylinder, jointMaterial);
  placeCylinder(basePlate, [0, 0, -linkRadius * 0.6], [0, 0, 0], linkRadius * 3);
  scene.add(basePlate);

  const flangeFrame = frameHelper(reach * 0.12);
  const tcpFrame = frameHelper(reach * 0.09);

  // The audited path, coloured sample by sample.
  if (count > 1) {
    const geometry = new THREE.BufferGeometry();
    geometry.setAttribute('position', new THREE.BufferAttribute(sampleTcp, 3));
    const colors = new Float32Array(3 * count);
    for (let i = 0; i < count; ++i) {
      const c = new THREE.Color(CATEGORIES[samples.categories.charCodeAt(i) - 48].color);
      colors.set([c.r, c.g, c.b], 3 * i);
    }
    geometry.setAttribute('color', new THREE.BufferAttribute(colors, 3));
    scene.add(new THREE.Line(geometry, new THREE.LineBasicMaterial({ vertexColors: true })));
  }

  // The programmed targets as small frames with labels.
  function targetText(t) {
    const name = t.name || (t.role === 'via' ? 'circle point' : 'target') + ' of move ' + t.move;
    return name + ' · ' + t.type + ' · [' + t.conf.join(', ') + ']';
  }
  const labels = [];
  for (const t of targets) {
    placeFrame(frameHelper(reach * 0.05), poseToT(t.pose));
    const label = element('div', { class: 'label' }, labelLayer, targetText(t));
    labels.push({ element: label, position: new THREE.Vector3(t.pose[0], t.pose[1], t.pose[2]) });
  }

  // The camera frames the arm at home and the path.
  const box = new THREE.Box3(new THREE.Vector3(-reach * 0.3, -reach * 0.3, 0),
    new THREE.Vector3(reach * 0.6, reach * 0.3, reach * 0.9));
  for (let i = 0; i < count; ++i)
    box.expandByPoint(new THREE.Vector3(sampleTcp[3 * i], sampleTcp[3 * i + 1], sampleTcp[3 * i + 2]));
  const centre = box.getCenter(new THREE.Vector3());
  const size = box.getSize(new THREE.Vector3()).length();
  const camera = new THREE.PerspectiveCamera(40, 1, size * 0.01, size * 20);
  camera.up.set(0, 0, 1);
  camera.position.set(centre.x + size * 0.9, centre.y - size * 1.3, centre.z + size * 0.55);
  const controls = new THREE.OrbitControls(camera, renderer.domElement);
  controls.target.copy(centre);
  controls.update();

  // ---- The arm's pose ----

  let shown = { joints: data.joints.slice(), flange: null, tcp: null, sample: -1 };

  function tframeOfSample(i) {
    const move = i >= 0 ? moveOfSample(i) : -1;
    return move >= 0 && moves[move] ? moves[move].tframe : data.tframe;
  }

  function setPose(joints, sample) {
    const k = kinematics(joints);
    const points = [];
    for (let i = 0; i < 6; ++i) {
      const F = k.frames[i];
      const point = mulRv(F.R, arm.points[i]);
      points.push([point[0] + F.p[0], point[1] + F.p[1], point[2] + F.p[2]]);
      const w = mulRv(F.R, arm.screws[i]);
      const half = linkRadius * 1.3;
      placeCylinder(housings[i], [points[i][0] - w[0] * half, points[i][1] - w[1] * half,
        points[i][2] - w[2] * half], [points[i][0] + w[0] * half, points[i][1] + w[1] * half,
        points[i][2] + w[2] * half], linkRadius * 1.25);
      const far = reach * 0.25;
      const line = axisLines[i].geometry.attributes.position;
      line.setXYZ(0, points[i][0] - w[0] * far, points[i][1] - w[1] * far, points[i][2] - w[2] * far);
      line.setXYZ(1, points[i][0] + w[0] * far, points[i][1] + w[1] * far, points[i][2] + w[2] * far);
      line.needsUpdate = true;
      axisLines[i].computeLineDistances();
    }
    const chain = [[0, 0, 0]].concat(points, [k.flange.p]);
    for (let i = 0; i < 7; ++i) placeCylinder(links[i], chain[i], chain[i + 1], linkRadius);
    const tcp = compose(k.flange, poseToT(tframeOfSample(sample)));
    placeFrame(flangeFrame, k.flange);
    placeFrame(tcpFrame, tcp);
    shown = { joints: joints.slice(), flange: k.flange, tcp: tcp, sample: sample };
    updateReadout();
    requestRender();
  }

  // ---- Rendering ----

  let renderPending = false;
  let firstFrame = true;
  function resize() {
    const w = sceneBox.clientWidth, h = sceneBox.clientHeight;
    renderer.setSize(w, h);
    camera.aspect = w / Math.max(h, 1);
    camera.updateProjectionMatrix();
    requestRender();
  }
  function render() {
    renderPending = false;
    renderer.render(scene, camera);
    const w = sceneBox.clientWidth, h = sceneBox.clientHeight;
    const v = new THREE.Vector3();
    for (const l of labels) {
      v.copy(l.position).project(camera);
      const visible = v.z < 1 && Math.abs(v.x) <= 1 && Math.abs(v.y) <= 1;
      l.element.style.display = visible ? '' : 'none';
      l.element.style.left = ((v.x + 1) / 2 * w).toFixed(1) + 'px';
      l.element.style.top = ((1 - v.y) / 2 * h).toFixed(1) + 'px';
    }
    if (firstFrame) {
      firstFrame = false;
      api.ready = true;
      document.body.setAttribute('data-ready', 'true');
    }
  }
  function requestRender() {
    if (renderPending) return;
    renderPending = true;
    requestAnimationFrame(render);
  }
  controls.addEventListener('change', requestRender);
  window.addEventListener('resize', resize);

  // ---- Playback, readout and charts ----

  element('h2', {}, aside, 'Playback');
  const controlRow = element('div', { class: 'controls' }, aside);
  const playButton = element('button', { type: 'button' }, controlRow, 'Play');
  const slider = element('input', { type: 'range', min: 0, max: Math.max(count - 1, 0), step: 1,
    value: 0 }, controlRow);
  if (count === 0) { playButton.disabled = true; slider.disabled = true; }
  const readout = element('div', { class: 'readout' }, aside);

  function fixed(v, d) { return (Math.abs(v) < 0.5 * Math.pow(10, -d) ? 0 : v).toFixed(d); }

  function updateReadout() {
    const j = shown.joints.map(function (v) { return fixed(v, 2); }).join('  ');
    const f = shown.flange ? shown.flange.p.map(function (v) { return fixed(v, 2); }).join('  ') : '';
    const place = shown.sample >= 0
      ? 'sample ' + (shown.sample + 1) + ' of ' + count + '  ' + axis.label + ' ' +
        fixed(axis.xs[shown.sample], 2) + '  move ' + moveOfSample(shown.sample)
      : (count ? '' : 'no audited samples');
    readout.textContent = place + '\njoints  ' + j + '\nflange  ' + f;
    for (const c of charts) c.cursor(shown.sample);
  }

  const charts = [];
  function chart(joint) {
    const width = 420, height = 64, left = 34, right = 4, top = 4, bottom = 12;
    const svg = document.createElementNS(SVG, 'svg');
    svg.setAttribute('class', 'chart');
    svg.setAttribute('viewBox', '0 0 ' + width + ' ' + height);
    svg.setAttribute('preserveAspectRatio', 'none');
    aside.appendChild(svg);
    function add(tag, attributes, text) {
      const e = document.createElementNS(SVG, tag);
      for (const key in attributes) e.setAttribute(key, attributes[key]);
      if (text !== undefined) e.textContent = text;
      svg.appendChild(e);
      return e;
    }
    let lo = Infinity, hi = -Infinity;
    for (let i = 0; i < count; ++i) {
      lo = Math.min(lo, sampleJoints[6 * i + joint]);
      hi = Math.max(hi, sampleJoints[6 * i + joint]);
    }
    if (count === 0) { lo = arm.min[joint]; hi = arm.max[joint]; }
    const span = Math.max(hi - lo, 10);
    const limits = [arm.min[joint], arm.max[joint]].filter(function (l) {
      return l > lo - span && l < hi + span;
    });
    for (const l of limits) { lo = Math.min(lo, l); hi = Math.max(hi, l); }
    lo -= span * 0.1; hi += span * 0.1;
    const x0 = count ? axis.xs[0] : 0, x1 = count ? axis.xs[count - 1] : 1;
    const sx = function (x) { return left + (x - x0) / Math.max(x1 - x0, 1e-12) * (width - left - right); };
    const sy = function (y) { return top + (hi - y) / (hi - lo) * (height - top - bottom); };
    for (const e of events) {
      if (e.sample < 0 || e.category === 0) continue;
      const a = sx(axis.xs[e.sample]), b = sx(axis.xs[e.lastSample]);
      add('rect', { x: a - 0.5, y: top, width: Math.max(b - a, 0) + 1, height: height - top - bottom,
        fill: CATEGORIES[e.category].color, 'fill-opacity': 0.25 });
    }
    for (const l of limits)
      add('line', { x1: left, x2: width - right, y1: sy(l), y2: sy(l), stroke: '#d62728',
        'stroke-dasharray': '4 3' });
    const stride = Math.max(1, Math.floor(count / 1500));
    const points = [];
    for (let i = 0; i < count; i += stride)
      points.push(sx(axis.xs[i]).toFixed(1) + ',' + sy(sampleJoints[6 * i + joint]).toFixed(1));
    if (count) points.push(sx(axis.xs[count - 1]).toFixed(1) + ',' +
      sy(sampleJoints[6 * count - 6 + joint]).toFixed(1));
    add('polyline', { points: points.join(' '), fill: 'none', stroke: '#333', 'stroke-width': 1 });
    add('text', { x: 2, y: 12 }, 'J' + (joint + 1));
    add('text', { x: 2, y: height - 14 }, fixed(lo, 0));
    add('text', { x: 2, y: 24 }, fixed(hi, 0));
    const cursor = add('line', { y1: top, y2: height - bottom, stroke: '#000', 'stroke-width': 1.5 });
    return {
      cursor: function (i) {
        cursor.style.display = i >= 0 ? '' : 'none';
        if (i >= 0) { cursor.setAttribute('x1', sx(axis.xs[i])); cursor.setAttribute('x2', sx(axis.xs[i])); }
      },
    };
  }
  element('h2', {}, aside, 'Joints (degrees) against ' + axis.label);
  for (let j = 0; j < 6; ++j) charts.push(chart(j));

  function goToSample(i) {
    if (count === 0) return;
    i = Math.max(0, Math.min(count - 1, Math.round(Number(i)) || 0));
    slider.value = String(i);
    setPose(jointsOfSample(i), i);
  }
  slider.addEventListener('input', function () { stop(); goToSample(slider.value); });

  let playing = null;
  function stop() {
    if (playing !== null) cancelAnimationFrame(playing);
    playing = null;
    playButton.textContent = 'Play';
  }
  function play() {
    let at = shown.sample >= count - 1 || shown.sample < 0 ? axis.xs[0] : axis.xs[shown.sample];
    let last = performance.now();
    const rate = axis.timed ? 1 : (axis.label === 'sample' ? 100 : PLAY_MM_PER_S);
    playButton.textContent = 'Pause';
    function step(now) {
      at += (now - last) / 1000 * rate;
      last = now;
      let lo = 0, hi = count - 1;
      while (lo < hi) {
        const mid = (lo + hi) >> 1;
        if (axis.xs[mid] < at) lo = mid + 1; else hi = mid;
      }
      goToSample(lo);
      if (lo >= count - 1) { stop(); return; }
      playing = requestAnimationFrame(step);
    }
    playing = requestAnimationFrame(step);
  }
  playButton.addEventListener('click', function () { if (playing !== null) stop(); else play(); });

  // ---- Tables ----

  element('h2', {}, aside, 'Events (' + events.length + ')');
  const eventTable = element('table', { id: 'events' }, aside);
  const eventHead = element('tr', {}, element('thead', {}, eventTable));
  for (const h of ['move', 'event', 'on', 'arc length (mm)', 'joint']) element('th', {}, eventHead, h);
  const eventBody = element('tbody', { class: 'events' }, eventTable);
  const eventRows = events.map(function (e, k) {
    const row = element('tr', { 'data-event': k }, eventBody);
    element('td', {}, row, String(e.move));
    element('td', { class: 'kind', style: '--swatch:' + CATEGORIES[e.category].color }, row, e.kind);
    element('td', {}, row, e.on);
    element('td', {}, row, e.startArcLength === e.endArcLength ? fixed(e.startArcLength, 1)
      : fixed(e.startArcLength, 1) + ' .. ' + fixed(e.endArcLength, 1));
    element('td', {}, row, e.joint ? String(e.joint) : '-');
    row.addEventListener('click', function () { goToEvent(k); });
    return row;
  });
  if (events.length === 0) element('p', { class: 'empty' }, aside, data.samples ? 'The audit found no event.' : 'No audit.');

  function goToEvent(k) {
    const e = events[k];
    if (!e) return;
    stop();
    eventRows.forEach(function (row, r) { row.classList.toggle('selected', r === k); });
    if (e.sample >= 0) slider.value = String(e.sample);
    if (e.startJoints) setPose(e.startJoints, e.sample);
    else if (e.sample >= 0) goToSample(e.sample);
  }

  if (targets.length) {
    element('h2', {}, aside, 'Targets');
    const table = element('table', { id: 'targets' }, aside);
    const head = element('tr', {}, element('thead', {}, table));
    for (const h of ['move', 'name', 'type', 'conf', 'tool', 'work object']) element('th', {}, head, h);
    const body = element('tbody', {}, table);
    for (const t of targets) {
      const row = element('tr', {}, body);
      const move = moves[t.move] || {};
      const cells = [String(t.move), t.name + (t.role === 'via' ? ' (circle point)' : ''), t.type,
        '[' + t.conf.join(', ') + ']', move.tool || '', move.wobj || ''];
      for (const c of cells) element('td', {}, row, c);
    }
  }

  // ---- Test interface (see zor/rob/view.hpp) ----

  const api = {
    ready: false,
    sampleCount: count,
    events: events.map(function (e) {
      return { kind: e.kind, move: e.move, on: e.on, corner: e.corner, joint: e.joint,
        startArcLength: e.startArcLength, endArcLength: e.endArcLength, sample: e.sample };
    }),
    goToSample: goToSample,
    goToEvent: goToEvent,
    joints: function () { return shown.joints.slice(); },
    flangePosition: function () { return shown.flange.p.slice(); },
    tcpPosition: function () { return shown.tcp.p.slice(); },
  };
  window.zorrob = api;

  resize();
  if (count > 0) goToSample(0);
  else setPose(data.joints, -1);
}
