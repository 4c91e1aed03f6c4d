#!/usr/bin/env python3
"""Writes the sample hospital: the JSON replies that the first-generation
requests read in local mode (and that tools/sample_service.py serves), and
under hospital/ the second-generation records (see HOSPITAL below).

One ward, one day shift, one logged-in nurse. Every file is derived from the
tables below, so a patient keeps the same id, name and room in every reply.

Dates are written in UTC around 21 April 2015; the importer moves them onto
the current day (day 20 is yesterday, 22 tomorrow) and keeps the clock time,
so 14:30Z reads 14:30 on the device. The demonstration clock stands at 09:41,
which is what "overdue" and the task summaries below are computed against.

Usage: tools/make_sample_hospital.py [output-dir]   (default resources/sample)
"""

import json
import os
import sys

USER_ID = 7
SHIFT_ID = 3
USERNAME = "nurse"
DEMO_NOW = "2015-04-21T09:41:00Z"

ROLES = {
    1: "Nurse",
    2: "Physician",
    3: "Charge Nurse",
    4: "Case Manager",
    5: "Physical Therapist",
}

# id, first name, last name, role id, user name, phone
STAFF = [
    (7, "Maria", "Alvarez", 1, "nurse", "555-0107"),
    (8, "James", "Okafor", 1, "jokafor", "555-0108"),
    (9, "Priya", "Raman", 2, "praman", "555-0109"),
    (10, "Tom", "Becker", 3, "tbecker", "555-0110"),
    (11, "Grace", "Kim", 4, "gkim", "555-0111"),
    (12, "Luis", "Moreno", 5, "lmoreno", "555-0112"),
]

# Room ids and names of the shift's ward; the names exercise text ordering
# ("10" < "101" < "12" < "1B" < "3A" < "9").
ROOMS = [
    (21, "3A"), (22, "3B"), (23, "9"), (24, "10"), (25, "12"), (26, "101"),
    (27, "102"), (28, "1B"), (29, "20"), (30, "214"), (31, "7"), (32, "11"),
    (33, "5C"), (34, "30"),
]
ROOM_IDS = {name: rid for rid, name in ROOMS}

# The nurse's patients are 1-10; 11 and 12 belong to the other nurse.
PATIENTS = [
    dict(id=1, first="Eleanor", last="Hughes", room="3A", gender="Female", acuity=3,
         birth="1941-06-12", admitted="2015-04-17T16:20:00Z", discharged="2015-04-21T15:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home with services",
         ambulatory="Assist x1", code="DNR", diet="Cardiac", immunization="Up to date",
         core="Heart failure", diagnoses=["Congestive heart failure"],
         medication=["Furosemide 40 mg", "Lisinopril 10 mg", "Metoprolol 25 mg"],
         allergies=["Penicillin"], problems=["Hypertension", "Atrial fibrillation"],
         barriers=["Needs home oxygen", "Lives alone"], staff=[7, 9, 11]),
    dict(id=2, first="Samuel", last="Ortiz", room="12", gender="Male", acuity=2,
         birth="1958-11-03", admitted="2015-04-19T08:05:00Z", discharged="2015-04-22T11:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Diabetic", immunization="Flu vaccine due",
         core="Pneumonia", diagnoses=["Community-acquired pneumonia"],
         medication=["Ceftriaxone 1 g", "Insulin glargine"], allergies=[],
         problems=["Type 2 diabetes"], barriers=["Awaiting chest X-ray"], staff=[7, 9]),
    dict(id=3, first="Ruth", last="Nakamura", room="101", gender="Female", acuity=4,
         birth="1936-02-28", admitted="2015-04-15T22:40:00Z", discharged="2015-04-21T08:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Skilled nursing facility",
         ambulatory="Wheelchair", code="DNR", diet="Soft", immunization="Up to date",
         core="None", diagnoses=["Hip fracture", "Osteoporosis"],
         medication=["Oxycodone 5 mg", "Enoxaparin 40 mg"], allergies=["Sulfa", "Latex"],
         problems=["Dementia"], barriers=["Bed at facility not confirmed"], staff=[7, 9, 11, 12]),
    dict(id=4, first="David", last="Chen", room="9", gender="Male", acuity=1,
         birth="1979-09-17", admitted="2015-04-20T13:15:00Z", discharged="2015-04-23T10:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Regular", immunization="Up to date",
         core="None", diagnoses=["Appendicitis"], medication=["Acetaminophen 1 g"],
         allergies=[], problems=[], barriers=[], staff=[7, 9]),
    dict(id=5, first="Grace", last="Whitfield", room="10", gender="Female", acuity=3,
         birth="1950-04-21", admitted="2015-04-18T10:30:00Z", discharged="2015-04-21T17:30:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Rehab",
         ambulatory="Assist x2", code="Full code", diet="Regular", immunization="Pneumococcal due",
         core="Stroke", diagnoses=["Ischemic stroke"], medication=["Aspirin 81 mg", "Atorvastatin 40 mg"],
         allergies=["Codeine"], problems=["Hyperlipidemia"],
         barriers=["Rehab insurance approval", "Family meeting"], staff=[7, 9, 11, 12]),
    dict(id=6, first="Omar", last="Haddad", room="3B", gender="Male", acuity=2,
         birth="1967-12-09", admitted="2015-04-20T19:50:00Z", discharged="2015-04-24T12:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="NPO", immunization="Up to date",
         core="None", diagnoses=["Small bowel obstruction"], medication=["Ondansetron 4 mg"],
         allergies=["Morphine"], problems=["Prior abdominal surgery"], barriers=[], staff=[7, 9]),
    dict(id=7, first="Linda", last="Park", room="102", gender="Female", acuity=2,
         birth="1962-07-30", admitted="2015-04-19T15:00:00Z", discharged="2015-04-21T12:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Diabetic", immunization="Up to date",
         core="None", diagnoses=["Diabetic ketoacidosis"], medication=["Insulin lispro", "Metformin 500 mg"],
         allergies=[], problems=["Type 1 diabetes"], barriers=["Insulin teaching"], staff=[7, 9, 11]),
    dict(id=8, first="Henry", last="Brooks", room="1B", gender="Male", acuity=3,
         birth="1945-01-05", admitted="2015-04-16T07:45:00Z", discharged="2015-04-22T16:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home with services",
         ambulatory="Walker", code="DNR", diet="Renal", immunization="Flu vaccine due",
         core="COPD", diagnoses=["COPD exacerbation", "Chronic kidney disease"],
         medication=["Prednisone 40 mg", "Albuterol inhaler", "Tiotropium"],
         allergies=["Iodine contrast"], problems=["Chronic kidney disease"],
         barriers=["Home health agency referral"], staff=[7, 9, 12]),
    dict(id=9, first="Alice", last="Moreau", room="20", gender="Female", acuity=1,
         birth="1988-05-14", admitted="2015-04-20T21:10:00Z", discharged="2015-04-21T10:30:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Regular", immunization="Up to date",
         core="None", diagnoses=["Migraine"], medication=["Sumatriptan 50 mg"],
         allergies=[], problems=[], barriers=[], staff=[7, 9]),
    dict(id=10, first="George", last="Adeyemi", room="214", gender="Male", acuity=2,
         birth="1955-08-22", admitted="2015-04-19T11:25:00Z", discharged="2015-04-20T18:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Low sodium", immunization="Up to date",
         core="Acute MI", diagnoses=["Non-ST elevation MI"], medication=["Clopidogrel 75 mg", "Aspirin 81 mg"],
         allergies=["Shellfish"], problems=["Hypertension"], barriers=["Cardiac rehab referral"],
         staff=[7, 9, 11]),
    dict(id=11, first="Fatima", last="Siddiqui", room="7", gender="Female", acuity=2,
         birth="1970-03-19", admitted="2015-04-20T09:00:00Z", discharged="2015-04-22T13:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Regular", immunization="Up to date",
         core="None", diagnoses=["Cellulitis"], medication=["Cefazolin 2 g"],
         allergies=[], problems=[], barriers=[], staff=[8, 9]),
    dict(id=12, first="Walter", last="Nguyen", room="11", gender="Male", acuity=3,
         birth="1939-10-01", admitted="2015-04-17T18:30:00Z", discharged="2015-04-21T14:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Skilled nursing facility",
         ambulatory="Wheelchair", code="DNR", diet="Pureed", immunization="Up to date",
         core="Sepsis", diagnoses=["Urosepsis"], medication=["Piperacillin-tazobactam"],
         allergies=["Vancomycin"], problems=["Parkinson disease"], barriers=["Guardian signature"],
         staff=[8, 9, 11]),
]
PATIENT_BY_ID = {p["id"]: p for p in PATIENTS}
USER_PATIENT_IDS = [p["id"] for p in PATIENTS if USER_ID in p["staff"]]

GROUPS = {1: "Assessments", 2: "Medications", 3: "Discharge Planning", 4: "Patient Requests"}

UNDEFINED, DISCHARGE, PATIENT_REQUEST = 0, 1, 2
NORMAL, COMPLETE, FORWARD, OVERDUE = 0, 1, 2, 3

# task id, patient id, group id, type, status, text, staff id,
# created, due, completed (or None), status description
TASKS = [
    (101, 1, 3, DISCHARGE, COMPLETE, "Review discharge instructions", 7,
     "2015-04-20T10:00:00Z", "2015-04-21T08:30:00Z", "2015-04-21T08:15:00Z", ""),
    (102, 1, 3, DISCHARGE, FORWARD, "Arrange home oxygen delivery", 11,
     "2015-04-20T10:05:00Z", "2015-04-21T13:00:00Z", None, "Oxygen supplier closed until noon"),
    (103, 1, 1, UNDEFINED, NORMAL, "Daily weight", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T10:00:00Z", None, ""),
    (104, 1, 4, PATIENT_REQUEST, NORMAL, "Extra pillow", 7,
     "2015-04-21T07:10:00Z", "2015-04-21T07:30:00Z", None, ""),
    (105, 2, 1, UNDEFINED, OVERDUE, "Collect sputum sample", 7,
     "2015-04-20T18:00:00Z", "2015-04-21T06:00:00Z", None, ""),
    (106, 2, 2, UNDEFINED, NORMAL, "Insulin before lunch", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T11:30:00Z", None, ""),
    (107, 2, 3, DISCHARGE, NORMAL, "Schedule follow-up appointment", 11,
     "2015-04-21T07:00:00Z", "2015-04-22T09:00:00Z", None, ""),
    (108, 3, 3, DISCHARGE, COMPLETE, "Send transfer summary to facility", 11,
     "2015-04-20T09:00:00Z", "2015-04-20T16:00:00Z", "2015-04-20T15:40:00Z", ""),
    (109, 3, 3, DISCHARGE, FORWARD, "Confirm facility bed", 11,
     "2015-04-20T09:05:00Z", "2015-04-21T09:00:00Z", None, "Facility has not called back"),
    (110, 3, 1, UNDEFINED, COMPLETE, "Physical therapy evaluation", 12,
     "2015-04-20T12:00:00Z", "2015-04-21T08:00:00Z", "2015-04-21T07:55:00Z",
     "Resolved: therapist came early"),
    (111, 3, 2, UNDEFINED, NORMAL, "Pain reassessment", 7,
     "2015-04-21T08:00:00Z", "2015-04-21T09:15:00Z", None, ""),
    (112, 4, 1, UNDEFINED, NORMAL, "Check incision site", 7,
     "2015-04-21T06:30:00Z", "2015-04-21T12:00:00Z", None, ""),
    (113, 4, 4, PATIENT_REQUEST, NORMAL, "Help to the bathroom", 7,
     "2015-04-21T09:20:00Z", "2015-04-21T09:30:00Z", None, ""),
    (114, 4, 3, DISCHARGE, NORMAL, "Teach wound care", 7,
     "2015-04-21T07:00:00Z", "2015-04-23T09:00:00Z", None, ""),
    (115, 5, 3, DISCHARGE, COMPLETE, "Medication reconciliation", 9,
     "2015-04-20T08:00:00Z", "2015-04-21T07:00:00Z", "2015-04-21T06:50:00Z", ""),
    (116, 5, 3, DISCHARGE, OVERDUE, "Rehab insurance authorization", 11,
     "2015-04-19T14:00:00Z", "2015-04-20T17:00:00Z", None, ""),
    (117, 5, 1, UNDEFINED, NORMAL, "Swallow screen", 12,
     "2015-04-21T06:00:00Z", "2015-04-21T14:00:00Z", None, ""),
    (118, 5, 4, PATIENT_REQUEST, COMPLETE, "Call daughter", 7,
     "2015-04-21T06:40:00Z", "2015-04-21T07:00:00Z", "2015-04-21T07:05:00Z", ""),
    (119, 6, 2, UNDEFINED, NORMAL, "Nasogastric tube check", 7,
     "2015-04-21T04:00:00Z", "2015-04-21T16:00:00Z", None, ""),
    (120, 6, 1, UNDEFINED, FORWARD, "Abdominal X-ray", 9,
     "2015-04-21T05:00:00Z", "2015-04-21T10:30:00Z", None, "Radiology backlog"),
    (121, 7, 3, DISCHARGE, NORMAL, "Insulin pen teaching", 7,
     "2015-04-20T16:00:00Z", "2015-04-21T10:00:00Z", None, ""),
    (122, 7, 3, DISCHARGE, COMPLETE, "Diabetes educator visit", 11,
     "2015-04-20T16:05:00Z", "2015-04-21T08:00:00Z", "2015-04-21T08:20:00Z", ""),
    (123, 7, 3, DISCHARGE, NORMAL, "Prescriptions to pharmacy", 9,
     "2015-04-21T07:30:00Z", "2015-04-21T11:00:00Z", None, ""),
    (124, 8, 2, UNDEFINED, OVERDUE, "Nebulizer treatment", 7,
     "2015-04-21T04:00:00Z", "2015-04-21T08:00:00Z", None, ""),
    (125, 8, 3, DISCHARGE, NORMAL, "Home health referral", 11,
     "2015-04-21T07:00:00Z", "2015-04-22T12:00:00Z", None, ""),
    (126, 8, 4, PATIENT_REQUEST, NORMAL, "Water refill", 7,
     "2015-04-21T09:00:00Z", "2015-04-21T09:10:00Z", None, ""),
    (127, 9, 3, DISCHARGE, COMPLETE, "Discharge instructions signed", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T09:00:00Z", "2015-04-21T08:45:00Z", ""),
    (128, 9, 3, DISCHARGE, NORMAL, "Confirm ride home", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T10:15:00Z", None, ""),
    (129, 10, 3, DISCHARGE, COMPLETE, "Cardiac rehab referral", 11,
     "2015-04-19T11:00:00Z", "2015-04-20T12:00:00Z", "2015-04-20T11:30:00Z", ""),
    (130, 10, 3, DISCHARGE, FORWARD, "Final echocardiogram", 9,
     "2015-04-20T08:00:00Z", "2015-04-20T15:00:00Z", None, "Echo machine out of service"),
    (131, 11, 2, UNDEFINED, NORMAL, "IV antibiotic dose", 8,
     "2015-04-21T06:00:00Z", "2015-04-21T12:00:00Z", None, ""),
    (132, 11, 3, DISCHARGE, NORMAL, "Wound photo for chart", 8,
     "2015-04-21T06:10:00Z", "2015-04-22T10:00:00Z", None, ""),
    (133, 12, 3, DISCHARGE, FORWARD, "Guardian consent for transfer", 11,
     "2015-04-20T13:00:00Z", "2015-04-21T09:30:00Z", None, "Guardian unreachable by phone"),
    (134, 12, 1, UNDEFINED, COMPLETE, "Blood cultures", 8,
     "2015-04-20T20:00:00Z", "2015-04-21T05:00:00Z", "2015-04-21T05:20:00Z", ""),
]

# notification id, type, status, task id, date, text
NOTIFICATIONS = [
    (501, 1, 0, 105, "2015-04-21T07:15:00Z", "Sputum culture received by the lab"),
    (502, 2, 0, 119, "2015-04-21T09:05:00Z", "Feeding pump occlusion alarm in room 3B"),
    (503, 3, 0, 109, "2015-04-21T08:50:00Z", "Ward at full capacity: expedite discharges"),
    (504, 0, 1, 121, "2015-04-20T17:00:00Z", "Family asked about visiting hours"),
    (505, 1, 1, 130, "2015-04-20T14:30:00Z", "Troponin results available"),
    (506, 3, 1, 102, "2015-04-21T06:30:00Z", "Fire drill at 14:00"),
]


def is_overdue(task):
    """Open and due at or before the demonstration clock."""
    return task[4] != COMPLETE and task[8] <= DEMO_NOW


def room_json(name):
    return {"id": ROOM_IDS[name], "name": name}


def patient_brief(p):
    """A patient as it is nested in tasks, rooms and notifications."""
    return {
        "patientId": p["id"],
        "fName": p["first"],
        "lName": p["last"],
        "roomNumber": p["room"],
        "gender": p["gender"],
        "acuity": p["acuity"],
        "birthdate": p["birth"],
        "admittedDate": p["admitted"],
        "dischargedDate": p["discharged"],
        "physician": p["physician"],
        "staffIds": p["staff"],
        "room": room_json(p["room"]),
    }


def patient_summary(p):
    """Everything about a patient except their tasks."""
    return {
        "doctorApproval": p["approval"],
        "dischargeDisposition": p["disposition"],
        "patientId": p["id"],
        "fName": p["first"],
        "lName": p["last"],
        "roomNumber": p["room"],
        "gender": p["gender"],
        "acuity": p["acuity"],
        "birthdate": p["birth"],
        "ambulatoryStatus": p["ambulatory"],
        "codeStatus": p["code"],
        "dietType": p["diet"],
        "immunizationStatus": p["immunization"],
        "coreMeasures": p["core"],
        "admittedDate": p["admitted"],
        "status": p["status"],
        "physician": p["physician"],
        "dischargedDate": p["discharged"],
        "diagnoses": p["diagnoses"],
        "medication": p["medication"],
        "allergies": p["allergies"],
        "medicalProblems": p["problems"],
        "barriers": p["barriers"],
        "staffIds": p["staff"],
        "room": room_json(p["room"]),
    }


def patient_full(p):
    out = patient_summary(p)
    out["tasks"] = [{"task": task_json(t)} for t in tasks_of_patient(p["id"])]
    return out


def task_json(t):
    (task_id, patient_id, group_id, kind, status, text, staff_id,
     created, due, completed, description) = t
    out = {
        "taskId": task_id,
        "groupId": group_id,
        "patient": patient_brief(PATIENT_BY_ID[patient_id]),
        "createdDate": created,
        "type": kind,
        "status": status,
        "statusDescription": description,
        "text": text,
        "staffId": staff_id,
        "dueDate": due,
    }
    if completed is not None:
        out["completedDate"] = completed
    return out


def tasks_of_patient(patient_id):
    return [t for t in TASKS if t[1] == patient_id]


def user_tasks():
    return [t for t in TASKS if t[1] in USER_PATIENT_IDS]


def task_summary(patient_id):
    tasks = tasks_of_patient(patient_id)
    return {
        "open": sum(1 for t in tasks if t[4] != COMPLETE),
        "completed": sum(1 for t in tasks if t[4] == COMPLETE),
        "patientId": patient_id,
        "overdue": sum(1 for t in tasks if is_overdue(t)),
    }


def staff_json(member, with_patients=False):
    staff_id, first, last, role_id, username, phone = member
    info = {"username": username}
    if with_patients:
        info["patients"] = [patient_full(PATIENT_BY_ID[i]) for i in USER_PATIENT_IDS]
    return {
        "fName": first,
        "id": staff_id,
        "lName": last,
        "shiftId": SHIFT_ID,
        "image": "staff%d.png" % staff_id,
        "info": info,
        "role": {"id": role_id, "label": ROLES[role_id]},
        "phoneNumber": phone,
    }


def staff_summary(staff_id):
    tasks = [t for t in TASKS if t[6] == staff_id]
    return {
        "staffId": staff_id,
        "completedTasks": sum(1 for t in tasks if t[4] == COMPLETE),
        "remainingTasks": sum(1 for t in tasks if t[4] != COMPLETE),
        "reportedIssues": sum(1 for t in tasks if t[10] and t[4] != COMPLETE),
        "overdueTasks": [task_json(t) for t in tasks if is_overdue(t)],
    }


def staff_issues(staff_id):
    return [t[10] for t in TASKS if t[6] == staff_id and t[10] and t[4] != COMPLETE]


def task_by_id(task_id):
    return next(t for t in TASKS if t[0] == task_id)


def notification_json(n):
    notification_id, kind, status, task_id, date, text = n
    task = task_by_id(task_id)
    return {
        "notificationId": notification_id,
        "task": task_json(task),
        "date": date,
        "patient": patient_brief(PATIENT_BY_ID[task[1]]),
        "text": text,
        "type": kind,
        "status": status,
    }


def rooms_json():
    occupant = {p["room"]: p for p in PATIENTS}
    rooms = []
    for room_id, name in ROOMS:
        room = {"id": room_id, "name": name}
        if name in occupant:
            room["patient"] = patient_brief(occupant[name])
        rooms.append(room)
    return rooms


def grouped_user_tasks():
    groups = []
    for group_id, label in GROUPS.items():
        tasks = [task_json(t) for t in user_tasks() if t[2] == group_id]
        groups.append({"label": label, "tasks": tasks})
    return groups


def patients_tasks(ids):
    return {"tasks": [{"patientId": i, "tasks": [task_json(t) for t in tasks_of_patient(i)]}
                      for i in ids]}


def replies():
    """Resource name (without ".json") to reply object."""
    user = "user.%d" % USER_ID
    shift = "user.shift.%d" % SHIFT_ID
    user_patients = [PATIENT_BY_ID[i] for i in USER_PATIENT_IDS]
    out = {
        "authentication": {"staffMember": staff_json(STAFF[0], with_patients=True)},
        user + ".notifications": {"notifications": [notification_json(n) for n in NOTIFICATIONS]},
        user + ".patients": {"patients": [patient_full(p) for p in user_patients]},
        user + ".tasks": {"userTasks": [task_json(t) for t in user_tasks()]},
        user + ".tasks.grouped": {"tasks": grouped_user_tasks()},
        user + ".barriers.grouped": {
            "patients": [patient_summary(p) for p in user_patients if p["barriers"]]},
        user + ".tasksummary": {"taskStatusSummary": [task_summary(p["id"]) for p in user_patients]},
        user + ".patientsandtasks": {
            "patients": [patient_full(p) for p in user_patients],
            "taskStatusSummary": [task_summary(p["id"]) for p in user_patients]},
        shift: {"staff": [staff_json(m) for m in STAFF],
                "staffSummary": [staff_summary(m[0]) for m in STAFF]},
        shift + ".rooms": {"rooms": rooms_json()},
        "allTasks": {"allTasks": [task_json(t) for t in TASKS]},
        "patients.1.2.3.tasks": patients_tasks([1, 2, 3]),
        "patients." + ".".join(str(i) for i in USER_PATIENT_IDS) + ".tasks":
            patients_tasks(USER_PATIENT_IDS),
    }
    for member in STAFF:
        out["user.%d.issues" % member[0]] = {"issues": staff_issues(member[0])}
    for p in PATIENTS:
        out["patient.%d" % p["id"]] = {"patient": patient_full(p)}
        out["patient.%d.summary" % p["id"]] = {"patient": patient_summary(p)}
        out["patient.%d.tasks" % p["id"]] = {
            "patientTasks": [task_json(t) for t in tasks_of_patient(p["id"])]}
        staff = [m for m in STAFF if m[0] in p["staff"]]
        out["patient.%d.users" % p["id"]] = {"staff": [staff_json(m) for m in staff]}
    return out


# ---------------------------------------------------------------------------
# Second generation: hospital/...
#
# Records in their dictionary form: keys are the entities' property names,
# "entityName" names the entity, dates are local text "yyyy-MM-dd HH:mm:ss"
# (read in the device's time zone; all between 08:00 and 20:00, clear of any
# daylight-saving change), numbers are JSON numbers, truth values JSON
# booleans. Vocabulary values are spelled exactly as the enumerations spell
# them ("Repiratory Rate", "Charge Nurse", "flush this out").
#
# Files:
#   hospital/authentication                      {"response": {"Authorization": ..., "staffMember": ...}}
#   hospital/patients/patient.<id>               one patient with its recovery path
#   hospital/staffMembers/staffMember.<id>       the full record of a care-team member
#   hospital/informationBooklets/informationBooklet.<id>   a booklet, sections in order
#   hospital/user/user.<id>.patients             {"patients": [patient, ...]}
# A patient names its care team and booklets by short nested dictionaries
# (identifier, names); the full records are fetched one by one.

UNIT = "is it needed? or shall it be left as free form text?"

# staff id, first, last, role, phone, email, shifts (title, hours, start, end)
STAFF2 = [
    ("1", "Maria", "Alvarez", "Charge Nurse", "555-0201", "maria.alvarez@orbelin.example",
     [("Day", 12, "2015-04-21 08:00:00", "2015-04-21 20:00:00")]),
    ("2", "Priya", "Raman", "Family Physician", "555-0202", "priya.raman@orbelin.example",
     [("Clinic", 8, "2015-04-21 09:00:00", "2015-04-21 17:00:00")]),
    ("3", "Tom", "Becker", "Surgeon", "555-0203", "tom.becker@orbelin.example",
     [("Theatre", 10, "2015-04-21 08:00:00", "2015-04-21 18:00:00"),
      ("On call", 12, "2015-04-22 08:00:00", "2015-04-22 20:00:00")]),
    ("4", "Grace", "Kim", "Social Worker", "555-0204", "grace.kim@orbelin.example",
     [("Day", 8, "2015-04-21 09:00:00", "2015-04-21 17:00:00")]),
    ("5", "Luis", "Moreno", "Physiotherapist", "555-0205", "luis.moreno@orbelin.example",
     [("Day", 8, "2015-04-21 08:30:00", "2015-04-21 16:30:00")]),
    ("6", "Hannah", "Weiss", "Dietition", "555-0206", "hannah.weiss@orbelin.example",
     [("Day", 8, "2015-04-21 08:00:00", "2015-04-21 16:00:00")]),
    ("7", "James", "Okafor", "Registered Nurse", "555-0207", "james.okafor@orbelin.example",
     [("Day", 12, "2015-04-21 08:00:00", "2015-04-21 20:00:00")]),
    ("8", "Aiko", "Tanaka", "Pharmacist", "555-0208", "aiko.tanaka@orbelin.example",
     [("Day", 8, "2015-04-21 09:00:00", "2015-04-21 17:00:00")]),
]
STAFF2_BY_ID = {m[0]: m for m in STAFF2}

# booklet id, title, provider, short description, sections:
# (category, title, body, media as (mime type, url))
BOOKLETS = [
    ("1", "Going Home After Heart Surgery", "Cardiac Surgery Unit", "Your first weeks at home", [
        ("Activity", "Walking every day", "Walk three times a day; add five minutes each day.",
         [("video/mp4", "https://media.orbelin.example/walking.mp4")]),
        ("Pain Management", "Managing pain", "Take your pain medicine before it gets bad.", []),
        ("Nutrition", "Eating for your heart", "Less salt, more vegetables, no fried food.",
         [("image/png", "https://media.orbelin.example/plate.png"),
          ("application/pdf", "https://media.orbelin.example/low-salt.pdf")]),
        ("Contact Us", "When to call", "Call the unit for fever, chest pain or a red wound.", []),
    ]),
    ("2", "Hip Replacement: Your Recovery", "Orthopaedics", "From the ward to your own stairs", [
        ("Preparation", "Before the operation", "Nothing to eat after midnight.", []),
        ("Mobilisation", "Getting up", "You will stand with the physiotherapist on day one.",
         [("video/mp4", "https://media.orbelin.example/standing.mp4")]),
        ("Self Care", "Washing and dressing", "Use the long shoe horn; do not bend past 90 degrees.",
         []),
        ("Facility", "Rehabilitation centre", "Visiting hours are 14:00 to 20:00.", []),
    ]),
    ("3", "Living With Diabetes", "Endocrinology", "Insulin, meals and checks", [
        ("Treatments", "Your insulin", "Rapid insulin with meals, long-acting at bed time.",
         [("image/jpeg", "https://media.orbelin.example/pen.jpg")]),
        ("Diet", "Counting carbohydrates", "Aim for 45 to 60 g at each meal.", []),
        ("Tests", "Checking your sugar", "Check before each meal and at bed time.", []),
    ]),
    ("4", "Breathing Exercises", "Respiratory Therapy", "Clear lungs after surgery", [
        ("Breathing", "Deep breaths", "Ten slow deep breaths every hour while awake.",
         [("video/mp4", "https://media.orbelin.example/breathing.mp4")]),
        ("Other", "Using the spirometer", "Keep the ball up for three seconds.", []),
    ]),
    ("5", "Your Stay on Ward 3", "Orbelin General Hospital", "Practical information", [
        ("Facility", "The ward", "Quiet hours are 22:00 to 06:00.", []),
        ("Life Style", "No smoking", "The hospital grounds are smoke free.", []),
        ("Contact Us", "Patient relations", "Call 555-0100 on weekdays.", []),
    ]),
]
BOOKLET_BY_ID = {b[0]: b for b in BOOKLETS}

# One dictionary per patient; "path" holds the recovery path (None: none yet).
PATIENTS2 = [
    dict(id="1", first="Eleanor", last="Hughes", gender="Female", birth="1941-06-12 12:00:00",
         ambulatory="WalkingWithAssistance", physician="Dr. Priya Raman", status="Admitted",
         room=("3A", "3"), bed="3A-1",
         allergies=[("2015-04-17 16:30:00", "Penicillin")],
         barriers=[("2015-04-18 10:00:00", "Lives alone"), ("2015-04-19 11:00:00", "Needs home oxygen")],
         diagnoses=[("2015-04-17 17:00:00", "Coronary artery disease"),
                    ("2015-04-18 09:00:00", "Atrial fibrillation")],
         diets=[("2015-04-18 08:00:00", "Cardiac, low sodium")],
         immunizations=[("2014-10-15 10:00:00", "Influenza")],
         roundingNotes=[("2015-04-20 09:30:00", "Wound dry, walking the corridor"),
                        ("2015-04-21 09:15:00", "Ready for discharge teaching")],
         symptoms=[("2015-04-20 14:00:00", "Mild chest wall pain")],
         alerts=[("A1", "Abnormal INR", "AbnormalTestResult", "High", "2015-04-21 08:20:00",
                  "INR 3.8 this morning; warfarin held")],
         vitals=[("Heart Rate", 88, "88 bpm", "2015-04-21 08:00:00", "Irregular"),
                 ("Blood Pressure", None, "128/76", "2015-04-21 08:00:00", ""),
                 ("Body Temparture", 37.2, "37.2 C", "2015-04-21 08:00:00", ""),
                 ("Pain", 3, "3/10", "2015-04-21 08:05:00", "Incision")],
         messages=[("M1", "Maria Alvarez", "Priya Raman", "INR is 3.8, please review warfarin.",
                    "2015-04-21 08:25:00", "Lab", "High", "Delivered", "inr-1")],
         path=dict(admitted="2015-04-17 16:20:00", discharge="2015-04-22 11:00:00",
                   disposition="Home", approval="Approved",
                   appointments=[
                       ("Pre-operative assessment", "2015-04-17 17:00:00", "Complete", "Ward 3"),
                       ("Coronary bypass surgery", "2015-04-18 08:30:00", "Complete", "Theatre 2"),
                       ("Physiotherapy walk", "2015-04-21 10:00:00", "Scheduled", "Ward 3 gym"),
                       ("Cardiology follow-up", "2015-05-05 14:00:00", "Pending", "Clinic B")],
                   instructions=[
                       ("Take warfarin", "Delayed", "Day", 1, "2015-04-18 18:00:00", True,
                        ("Warfarin", "Coumadin", "02242924", "5 mg"),
                        [("Complete", "2015-04-19 18:00:00", ""),
                         ("Complete", "2015-04-20 18:00:00", ""),
                         ("Missed", "2015-04-21 08:30:00", "Held for high INR")]),
                       ("Walk in the corridor", "Issued", "Hour", 4, "2015-04-19 10:00:00", False,
                        None, [("Complete", "2015-04-20 14:00:00", "Twice round the ward")]),
                       ("Deep breathing exercises", "Approved", "Hour", 1, "2015-04-18 14:00:00",
                        True, None, [])],
                   tests=[("T1", "INR", "2015-04-21 06:00:00", 3.0, 2.0,
                           [(True, "INR 3.8, above range", "2015-04-21 07:30:00")]),
                          ("T2", "Hemoglobin", "2015-04-21 06:00:00", 175.0, 120.0,
                           [(False, "131 g/L", "2015-04-21 07:30:00")]),
                          ("T3", "Chest X-ray", "2015-04-20 11:00:00", None, None,
                           [(False, "No effusion", "2015-04-20 13:00:00")])],
                   team=["1", "2", "3"], booklets=["1", "4", "5"])),
    dict(id="2", first="Samuel", last="Ortiz", gender="Male", birth="1958-11-03 12:00:00",
         ambulatory="Walking", physician="Dr. Priya Raman", status="Ready To Discharge",
         room=("12", "1"), bed="12-2",
         allergies=[], barriers=[("2015-04-20 12:00:00", "Insulin teaching")],
         diagnoses=[("2015-04-19 09:00:00", "Diabetic ketoacidosis")],
         diets=[("2015-04-19 12:00:00", "Diabetic")], immunizations=[],
         roundingNotes=[("2015-04-21 09:00:00", "Sugars stable overnight")],
         symptoms=[], alerts=[],
         vitals=[("Heart Rate", 76, "76 bpm", "2015-04-21 08:10:00", ""),
                 ("Repiratory Rate", 16, "16 /min", "2015-04-21 08:10:00", "")],
         messages=[],
         path=dict(admitted="2015-04-19 08:05:00", discharge="2015-04-21 16:00:00",
                   disposition="Home", approval="Pending",
                   appointments=[
                       ("Diabetes educator", "2015-04-20 15:00:00", "Complete", "Ward 1"),
                       ("Insulin pen teaching", "2015-04-21 11:00:00", "Delayed", "Ward 1"),
                       ("Endocrinology clinic", "2015-05-12 09:30:00", "Scheduled", "Clinic A")],
                   instructions=[
                       ("Insulin with meals", "Issued", "MealTime", 3, "2015-04-19 12:00:00", True,
                        ("Insulin lispro", "Humalog", "02229704", "6 units"),
                        [("Complete", "2015-04-21 08:00:00", "")]),
                       ("Long-acting insulin", "Issued", "BedTime", 1, "2015-04-19 21:00:00", True,
                        ("Insulin glargine", "Lantus", "02245689", "20 units"),
                        [("Complete", "2015-04-20 21:00:00", "")])],
                   tests=[("T4", "Glucose", "2015-04-21 07:00:00", 7.8, 4.0,
                           [(False, "6.9 mmol/L", "2015-04-21 07:10:00")])],
                   team=["1", "2", "6", "8"], booklets=["3", "5"])),
    dict(id="3", first="Ruth", last="Nakamura", gender="Female", birth="1936-02-28 12:00:00",
         ambulatory="OnWheelchair", physician="Dr. Tom Becker", status="Admitted",
         room=("101", "1"), bed="101-1",
         allergies=[("2015-04-15 23:00:00", "Sulfa"), ("2015-04-15 23:05:00", "Latex")],
         barriers=[("2015-04-19 10:00:00", "Bed at rehabilitation centre not confirmed")],
         diagnoses=[("2015-04-15 23:30:00", "Hip fracture")],
         diets=[("2015-04-16 08:00:00", "Soft")], immunizations=[],
         roundingNotes=[], symptoms=[("2015-04-20 15:00:00", "Confused at night")],
         alerts=[("A2", "Mood decline", "MoodDecline", "Normal", "2015-04-20 16:00:00", "")],
         vitals=[("Pain", 5, "5/10", "2015-04-21 08:00:00", "Hip"),
                 ("Anxiety", None, "Moderate", "2015-04-21 08:00:00", "")],
         messages=[],
         path=dict(admitted="2015-04-15 22:40:00", discharge=None,
                   disposition="NursingHome", approval="Pending",
                   appointments=[
                       ("Hip replacement", "2015-04-16 10:00:00", "Complete", "Theatre 1"),
                       ("First stand", "2015-04-17 10:00:00", "Missed", "Ward 1"),
                       ("First stand", "2015-04-18 10:00:00", "Complete", "Ward 1"),
                       ("Transfer to rehabilitation", "2015-04-23 10:00:00", "Pending", "")],
                   instructions=[
                       ("Enoxaparin injection", "Issued", "Day", 1, "2015-04-16 18:00:00", True,
                        ("Enoxaparin", "Lovenox", "02012472", "40 mg"),
                        [("Complete", "2015-04-20 18:00:00", "")])],
                   tests=[("T5", "Hip X-ray", "2015-04-17 09:00:00", None, None,
                           [(False, "Prosthesis in place", "2015-04-17 11:00:00")])],
                   team=["1", "3", "4", "5"], booklets=["2", "5"])),
    dict(id="4", first="David", last="Chen", gender="Male", birth="1979-09-17 12:00:00",
         ambulatory="Walking", physician="Dr. Tom Becker", status="Discharged",
         room=("9", "2"), bed="9-1",
         allergies=[], barriers=[], diagnoses=[("2015-04-20 13:30:00", "Appendicitis")],
         diets=[], immunizations=[], roundingNotes=[], symptoms=[], alerts=[], vitals=[],
         messages=[],
         path=dict(admitted="2015-04-20 13:15:00", discharge="2015-04-21 12:00:00",
                   disposition="Home", approval="Approved",
                   appointments=[("Appendectomy", "2015-04-20 16:00:00", "Complete", "Theatre 3"),
                                 ("Wound check", "2015-04-28 10:00:00", "Scheduled", "Clinic C")],
                   instructions=[("Keep the wound dry", "Issued", None, None, "2015-04-21 12:00:00",
                                  False, None, [])],
                   tests=[], team=["3"], booklets=["4"])),
    dict(id="5", first="Grace", last="Whitfield", gender="Female", birth="1950-04-21 12:00:00",
         ambulatory="Unknown", physician="Dr. Priya Raman", status="Admitted",
         room=("10", "1"), bed="10-1",
         allergies=[("2015-04-18 11:00:00", "Codeine")],
         barriers=[("2015-04-19 09:00:00", "Family meeting")],
         diagnoses=[("2015-04-18 11:00:00", "Ischemic stroke")],
         diets=[("2015-04-18 12:00:00", "Pureed")], immunizations=[],
         roundingNotes=[("2015-04-21 10:00:00", "Swallow screen passed")],
         symptoms=[("2015-04-18 10:30:00", "Left arm weakness")], alerts=[],
         vitals=[("Stress", None, "Low", "2015-04-21 09:00:00", ""),
                 ("Blood Pressure", None, "142/88", "2015-04-21 09:00:00", "Repeat at noon")],
         messages=[],
         path=dict(admitted="2015-04-18 10:30:00", discharge=None,
                   disposition="Other", approval="Pending",
                   appointments=[("Speech therapy", "2015-04-21 13:00:00", "Scheduled", "Ward 1")],
                   instructions=[], tests=[], team=[], booklets=[])),
    dict(id="6", first="Omar", last="Haddad", gender="Male", birth="1967-12-09 12:00:00",
         ambulatory="WalkingWithAssistance", physician="Dr. Tom Becker", status="Admitted",
         room=("3B", "3"), bed="3B-2",
         allergies=[("2015-04-20 20:00:00", "Morphine")], barriers=[],
         diagnoses=[("2015-04-20 20:10:00", "Small bowel obstruction")],
         diets=[("2015-04-20 20:00:00", "Nothing by mouth")],
         immunizations=[("2013-09-10 10:00:00", "Tetanus")],
         roundingNotes=[], symptoms=[("2015-04-20 19:50:00", "Vomiting")], alerts=[],
         vitals=[("Wound", None, "Clean, dry", "2015-04-21 08:30:00", "")],
         messages=[("M2", "James Okafor", "Tom Becker", "Nasogastric tube output 400 mL.",
                    "2015-04-21 09:05:00", "Patient", "Normal", "Draft", "ngt-6")],
         path=dict(admitted="2015-04-20 19:50:00", discharge="2015-04-24 12:00:00",
                   disposition="Home", approval="Pending",
                   appointments=[("Abdominal X-ray", "2015-04-21 10:30:00", "Delayed", "Radiology"),
                                 ("Surgical review", "2015-04-21 16:00:00", "Scheduled", "Ward 3")],
                   instructions=[("Nasogastric tube care", "Pending", "Hour", 4,
                                  "2015-04-20 20:00:00", True,
                                  ("Ondansetron", "Zofran", "02213567", "4 mg"),
                                  [("Complete", "2015-04-21 08:00:00", "")])],
                   tests=[("T6", "Potassium", "2015-04-21 06:00:00", 5.0, 3.5,
                           [(True, "3.1 mmol/L", "2015-04-21 07:00:00")])],
                   team=["3", "7", "8"], booklets=["4", "5"])),
    dict(id="7", first="Linda", last="Park", gender="Unspecified", birth="1962-07-30 12:00:00",
         ambulatory="Walking", physician="Dr. Priya Raman", status="Ready To Discharge",
         room=("102", "1"), bed="102-1",
         allergies=[], barriers=[], diagnoses=[("2015-04-19 15:30:00", "Pneumonia")],
         diets=[], immunizations=[("2014-10-20 10:00:00", "Pneumococcal")],
         roundingNotes=[("2015-04-21 08:45:00", "Afebrile for 48 hours")], symptoms=[],
         alerts=[], vitals=[("Body Temparture", 36.8, "36.8 C", "2015-04-21 08:00:00", "")],
         messages=[],
         path=dict(admitted="2015-04-19 15:00:00", discharge="2015-04-21 15:00:00",
                   disposition="Home", approval="Approved",
                   appointments=[("Chest X-ray", "2015-04-20 09:00:00", "Complete", "Radiology"),
                                 ("Family doctor", "2015-04-28 11:00:00", "Scheduled", "")],
                   instructions=[("Finish antibiotics", "Issued", "Day", 2, "2015-04-19 16:00:00",
                                  True, ("Amoxicillin", "Amoxil", "00628115", "500 mg"), [])],
                   tests=[], team=["2", "7"], booklets=["4"])),
    dict(id="8", first="Walter", last="Nguyen", gender="Male", birth="1939-10-01 12:00:00",
         ambulatory="Unknown", physician="Dr. Priya Raman", status="To Be Admitted",
         room=None, bed=None, allergies=[], barriers=[], diagnoses=[], diets=[],
         immunizations=[], roundingNotes=[], symptoms=[], alerts=[], vitals=[], messages=[],
         path=None),
]
PATIENT2_BY_ID = {p["id"]: p for p in PATIENTS2}

# user id -> the ids of the patients whose care team the user is in, plus the
# one still to be admitted on the charge nurse's list.
USER2_PATIENTS = {"1": ["1", "2", "3", "8"], "3": ["1", "3", "4", "6"], "7": ["6", "7"]}


def entity(entity_name, /, **values):
    """A dictionary form: "entityName" first, absent (None) values left out."""
    out = {"entityName": entity_name}
    out.update((k, v) for k, v in values.items() if v is not None)
    return out


def dated_values(entries):
    return [entity("DatedValue", date=d, value=v) for d, v in entries]


def room2(number, floor):
    return entity("Room", roomNumber=number, floor=floor, unit=UNIT)


def staff_brief(staff_id):
    s = STAFF2_BY_ID[staff_id]
    return entity("StaffMember", staffId=s[0], firstName=s[1], lastName=s[2], role=s[3],
                  phoneNumber=s[4])


def staff_full(s):
    staff_id, first, last, role, phone, email, shifts = s
    return entity("StaffMember", staffId=staff_id, firstName=first, lastName=last, role=role,
                  phoneNumber=phone, email=email, faceTimeId=email,
                  profilePictureURL="https://media.orbelin.example/staff/%s.png" % staff_id,
                  shifts=[entity("Shift", title=t, durationinHours=h, startDateTime=a,
                                 endDateTime=b) for t, h, a, b in shifts])


def booklet_brief(booklet_id):
    b = BOOKLET_BY_ID[booklet_id]
    return entity("InformationBooklet", bookletId=b[0], title=b[1])


def booklet_full(b):
    booklet_id, title, provider, short, sections = b
    return entity("InformationBooklet", bookletId=booklet_id, title=title, shortDesc=short,
                  longDesc=short + ".", provider=provider, created="2014-11-03 10:00:00",
                  lastModified="2015-02-16 15:30:00",
                  sections=[entity("BookletSection", category=c, title=t, body=body,
                                   multiMedias=[entity("MultiMedia", mimeType=m, url=u,
                                                       thumbnailURL=u + ".thumb.png")
                                                for m, u in media])
                            for c, t, body, media in sections])


def vital2(v):
    kind, number, text, when, comments = v
    note = entity("Note", created=when, lastModified=when, number=number, text=text)
    return entity("Vital", type=kind, measurement=note, comments=comments or None)


def instruction2(i):
    short, status, frequency, unit, start, reminder, medication, actions = i
    med = None
    if medication is not None:
        name, common, din, dosage = medication
        med = entity("Medication", name=name, commonName=common, drugIdentificationNumber=din,
                     dosage=dosage)
    return entity("Instruction", shortDesc=short, status=status, longDesc=short + ".",
                  startDateTime=start, frequency=frequency, frequencyUnit=unit, createdAt=start,
                  needsReminder=reminder, medication=med,
                  actions=[entity("InstructionAction", type=t, timeStamp=w, comments=c or None)
                           for t, w, c in actions])


def medical_test2(t):
    test_id, short, when, high, low, results = t
    return entity("MedicalTest", testId=test_id, shortDesc=short, dateTime=when,
                  longDesc=short + " ordered on admission", normalMax=high, normalMin=low,
                  technicianId="tech-" + test_id,
                  results=[entity("TestResult", abnormal=a, analysis=text, timeStamp=w)
                           for a, text, w in results])


def recovery_path2(path):
    return entity(
        "RecoveryPath", admissionDate=path["admitted"], dischargeDate=path["discharge"],
        dischargeDisposition=path["disposition"], dischargeApprovalState=path["approval"],
        appoitments=[entity("Appoitment", shortDesc=s, dateTime=w, status=st, location=l or None,
                            longDesc=s + ".") for s, w, st, l in path["appointments"]],
        instructions=[instruction2(i) for i in path["instructions"]],
        medicalTests=[medical_test2(t) for t in path["tests"]],
        careTeam=[staff_brief(i) for i in path["team"]],
        informationBooklets=[booklet_brief(i) for i in path["booklets"]])


def patient2(p):
    room = bed = None
    if p["room"] is not None:
        room = room2(*p["room"])
        bed = entity("Bed", bedNumber=p["bed"], room=room2(*p["room"]))
    return entity(
        "Patient", patientId=p["id"], firstName=p["first"], lastName=p["last"],
        gender=p["gender"], birthDate=p["birth"], acuity="flush this out",
        ambulatoryStatus=p["ambulatory"], physicianName=p["physician"], status=p["status"],
        alerts=[entity("Alert", alertId=a, shortDesc=s, category=c, severity=sev, created=w,
                       lastModified=w, longDesc=l or None)
                for a, s, c, sev, w, l in p["alerts"]],
        allergies=dated_values(p["allergies"]), barriers=dated_values(p["barriers"]),
        diagnoses=dated_values(p["diagnoses"]), diets=dated_values(p["diets"]),
        immunizations=dated_values(p["immunizations"]),
        roundingNotes=dated_values(p["roundingNotes"]), symptoms=dated_values(p["symptoms"]),
        vitals=[vital2(v) for v in p["vitals"]],
        pertainingMessages=[entity("Message", messageId=m, **{"from": f}, to=t, body=b,
                                   timeStamp=w, category=c, priority=pr, status=st, thread=th)
                            for m, f, t, b, w, c, pr, st, th in p["messages"]],
        bed=bed, room=room,
        recoveryPath=recovery_path2(p["path"]) if p["path"] is not None else None)


def hospital_replies():
    """Resource name under hospital/ (without ".json") to reply object."""
    out = {"hospital/authentication": {"response": {
        "Authorization": "Bearer sample-token-1", "staffMember": staff_full(STAFF2[0])}}}
    for p in PATIENTS2:
        out["hospital/patients/patient." + p["id"]] = patient2(p)
    for s in STAFF2:
        out["hospital/staffMembers/staffMember." + s[0]] = staff_full(s)
    for b in BOOKLETS:
        out["hospital/informationBooklets/informationBooklet." + b[0]] = booklet_full(b)
    for user_id, ids in USER2_PATIENTS.items():
        out["hospital/user/user.%s.patients" % user_id] = {
            "patients": [patient2(PATIENT2_BY_ID[i]) for i in ids]}
    return out


def dump(value, indent=0):
    """Pretty JSON with arrays of plain values kept on one line."""
    pad = "  " * indent
    inner = "  " * (indent + 1)
    if isinstance(value, dict):
        if not value:
            return "{}"
        if len(value) <= 2 and all(not isinstance(v, (dict, list)) for v in value.values()):
            return "{" + ", ".join("%s: %s" % (json.dumps(k), json.dumps(v, ensure_ascii=False))
                                   for k, v in value.items()) + "}"
        items = ['%s%s: %s' % (inner, json.dumps(k), dump(v, indent + 1)) for k, v in value.items()]
        return "{\n" + ",\n".join(items) + "\n" + pad + "}"
    if isinstance(value, list):
        if all(not isinstance(v, (dict, list)) for v in value):
            return "[" + ", ".join(json.dumps(v, ensure_ascii=False) for v in value) + "]"
        items = [inner + dump(v, indent + 1) for v in value]
        return "[\n" + ",\n".join(items) + "\n" + pad + "]"
    return json.dumps(value, ensure_ascii=False)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "resources", "sample")
    os.makedirs(out_dir, exist_ok=True)
    for folder, _, names in os.walk(out_dir):
        for old in names:
            if old.endswith(".json"):
                os.remove(os.path.join(folder, old))
    files = replies()
    files.update(hospital_replies())
    for name, reply in sorted(files.items()):
        path = os.path.join(out_dir, name + ".json")
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as f:
            f.write(dump(reply) + "\n")
    print("wrote %d files to %s" % (len(files), os.path.normpath(out_dir)))


if __name__ == "__main__":
    main()
